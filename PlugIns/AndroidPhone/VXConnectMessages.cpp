#include "VXConnectMessages.h"

#include "VXBusText.h"
#include "VXConnectNames.h"
#include "VXConversationKey.h"
#include "VXDeviceURL.h"
#include "VXPhoneText.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto threadsLimit = 20s;      // until the first conversation is told of
constexpr auto quiet = 2s;              // there is no sign of the last one
constexpr auto threadLimit = 60s;       // for a conversation, as long as nothing comes
constexpr auto rest = 5s;               // for what is missing of one
constexpr auto sendLimit = 90s;         // until the phone tells of the message as sent
constexpr qsizetype portionSize = 1000; // of messages, as one conversation may have all there are
constexpr qulonglong mostMessages = std::numeric_limits<int>::max(); // that can be asked for
constexpr qint64 longestAhead = 24 * 60 * 60 * 1000; // milliseconds, that clocks and time zones do not differ by

bool isAhead(qint64 date)
{
    return date > QDateTime::currentMSecsSinceEpoch() + longestAhead;
}

} // namespace

struct VXConnectMessages::Reading
{
    QList<VXConnectMessage> messages = {};                // not handed over yet
    QSet<VXConnectMessage::Key> known = {};               // all that arrived
    bool isHandedOver = true;                             // false if nobody takes portions
    QList<qint64> threads = {};                           // those left
    QHash<qint64, std::optional<qulonglong>> counts = {}; // all; how many messages each was read with, none until then
    QSet<qint64> again = {};                              // those that are read a second time
    QElapsedTimer sinceNews = {};                         // of a conversation
    qint64 thread = 0;                                    // the one being read
    QSet<int> found = {};                                 // in that conversation
    qulonglong expected = 0;                              // there; 0 until it is told
    QStringList problems = {};

    void add(const VXConnectMessage &message)
    {
        const qsizetype before = known.size();
        known.insert(message.key());
        if (known.size() > before)
            messages.append(message);
        note(message.thread, 1);
    }
    /** A conversation is told of, with at least so many messages. It is read again, once, if it was read before the daemon had
     *  all of it. */
    void note(qint64 id, qulonglong count)
    {
        const auto before = counts.constFind(id);
        const bool isKnown = before != counts.cend();
        const bool isLonger = isKnown && before->has_value() && count > **before && !again.contains(id);
        if (isKnown && !isLonger)
            return;
        if (isLonger)
            again.insert(id);
        else
            counts.insert(id, std::nullopt);
        threads.append(id);
        sinceNews.start();
    }
};

struct VXConnectMessages::Sending
{
    VXTextToSend message;
    Newest before; // of the messages there were
};

VXConnectMessages::VXConnectMessages(VXBusDevice &device, VXBusQueue &queue) : _device(device), _queue(queue)
{
    VXConnectMessage::registerTypes();
    const auto heard = [this](const QDBusMessage &signal) {
        if (_phone.isNull() || signal.path() != VXConnectNames::path(_phone))
            return;
        const auto message = VXConnectMessage::fromArgument(signal.arguments().value(0));
        if (!message)
            return;
        take(*message);
        if (const Heard reader = _heard) // it may start to listen to others
            reader(*message);
    };
    for (const QString &member : {u"conversationCreated"_s, u"conversationUpdated"_s})
        queue.service()->listen({}, VXConnectNames::conversations, member, this, heard);
}

void VXConnectMessages::setPhone(const QString &deviceID)
{
    if (_phone == deviceID)
        return;
    _phone = deviceID;
    _watermark.reset();
    _newest = {};
    _told.clear();
}

// -- News

void VXConnectMessages::Newest::note(qint64 date)
{
    qint64 &newest = isAhead(date) ? ahead : usual;
    newest = std::max(newest, date);
}

bool VXConnectMessages::Newest::isBefore(qint64 date) const
{
    return date > (isAhead(date) ? ahead : usual);
}

void VXConnectMessages::take(const VXConnectMessage &message)
{
    _newest.note(message.date);
    if (!_watermark || !message.isIncoming() || !_watermark->isBefore(message.date) || _told.contains(message.key()))
        return;
    _told.insert(message.key());
    const QVariantMap record = message.record(VXAbsoluteString(_device.url()));
    if (record.contains(u"text"_s))
        _device.announce(u"new_message"_s, {}, record);
}

// A phone that was away for a while already has its mark: what arrived meanwhile is new.
void VXConnectMessages::survey()
{
    const auto look = [this](VXBusErrand &errand) {
        errand.begin(_device.text(u"Looking for conversations"_s), threadsLimit);
        askForThreads(errand, [this, &errand] { askForNewest(errand, [&errand] { errand.succeed(); }); });
    };
    _queue.enqueue(look, [this](const QVariantMap &, const VXError &) {
        if (_watermark)
            return;
        _watermark = _newest;
        if (_newest.usual == 0)
            _watermark->note(QDateTime::currentMSecsSinceEpoch());
    });
}

// -- Reading

// What the function keeps alive, for example everything that was read, is freed with the errand.
void VXConnectMessages::listen(VXBusErrand &errand, const Heard &heard)
{
    _heard = errand.guarded<VXConnectMessage>(heard);
    _listening = &errand;
    connect(&errand, &QObject::destroyed, this, &VXConnectMessages::dropHeard, Qt::UniqueConnection);
}

void VXConnectMessages::dropHeard()
{
    if (!_listening)
        _heard = {};
}

// Calls `then` when no more conversations are reported. The step has already begun.
void VXConnectMessages::askForThreads(VXBusErrand &errand, const std::function<void()> &then)
{
    errand.listen(VXConnectNames::path(_phone), VXConnectNames::conversations, {},
                  [&errand, then](const QDBusMessage &) {
                      errand.prolong();
                      errand.wait(quiet, then);
                  });
    errand.call({.path = VXConnectNames::path(_phone),
                 .interface = VXConnectNames::conversations,
                 .method = u"requestAllConversationThreads"_s},
                [](const QVariantList &) {});
}

// The daemon does not report again what it knows from before, be it through another program.
void VXConnectMessages::askForNewest(VXBusErrand &errand, const std::function<void()> &then)
{
    errand.ask({.path = VXConnectNames::path(_phone),
                .interface = VXConnectNames::conversations,
                .method = u"activeConversations"_s,
                .signature = u"av"_s},
               [this, then](const QDBusMessage &answer) {
                   for (const QVariant &value : qdbus_cast<QVariantList>(answer.arguments().value(0))) {
                       if (const auto message = VXConnectMessage::fromArgument(value))
                           _newest.note(message->date);
                   }
                   then();
               });
}

// The daemon reports messages that it did not know, and each conversation that the phone has. These are read while
// others are still being reported.
void VXConnectMessages::read(VXBusErrand &errand)
{
    const auto reading = std::make_shared<Reading>();
    const auto next = [this, &errand, reading] { readNext(errand, reading); };
    beginReading(errand, reading, u"Looking for conversations"_s, threadsLimit, [next](qint64, qulonglong) { next(); });
    askForThreads(errand, next);
}

// Begins a step, in which all messages and conversations that are reported are noted.
void VXConnectMessages::beginReading(VXBusErrand &errand, const std::shared_ptr<Reading> &reading, const QString &what,
                                     std::chrono::milliseconds limit, const Loaded &loaded)
{
    errand.begin(_device.text(what), limit);
    listen(errand, [reading](const VXConnectMessage &message) { reading->add(message); });
    const auto heard = [reading, loaded](const QDBusMessage &signal) {
        const qint64 id = signal.arguments().value(0).toLongLong();
        const qulonglong count = signal.arguments().value(1).toULongLong();
        reading->note(id, count);
        if (loaded)
            loaded(id, count);
    };
    errand.listen(VXConnectNames::path(_phone), VXConnectNames::conversations, u"conversationLoaded"_s, heard);
}

// For a conversation the daemon first fetches what it does not have, and reports how much there is; then it delivers
// that.
void VXConnectMessages::readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    if (reading->threads.isEmpty())
        return awaitMore(errand, reading);
    reading->thread = reading->threads.takeFirst();
    reading->found.clear();
    reading->expected = 0;
    if (errand.action())
        errand.action()->setProgressMaxValue(double(reading->counts.size() + reading->again.size()));
    beginReading(errand, reading, u"Reading messages"_s, threadLimit,
                 [this, &errand, reading](qint64 id, qulonglong count) {
                     if (id == reading->thread)
                         readLoaded(errand, reading, count);
                 });
    errand.call({.path = VXConnectNames::path(_phone, u"sms"_s),
                 .interface = VXConnectNames::sms,
                 .method = u"requestConversation"_s,
                 .arguments = {reading->thread, qint64(-1), qint64(-1)}},
                [](const QVariantList &) {});
}

// There is no sign of the last conversation.
void VXConnectMessages::awaitMore(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    const auto passed = std::chrono::milliseconds(reading->sinceNews.isValid() ? reading->sinceNews.elapsed() : 0);
    if (passed >= quiet)
        return finish(errand, reading);
    const auto look = [this, &errand, reading] { readNext(errand, reading); };
    beginReading(errand, reading, u"Looking for conversations"_s, threadsLimit, [reading, look](qint64, qulonglong) {
        if (!reading->threads.isEmpty())
            look();
    });
    errand.wait(quiet - passed, look);
}

// If it is asked for more than it reported, the daemon reads what is missing.
void VXConnectMessages::readLoaded(VXBusErrand &errand, const std::shared_ptr<Reading> &reading, qulonglong count)
{
    reading->expected = count;
    if (count == 0)
        return finishThread(errand, reading);
    beginReading(errand, reading, u"Reading messages"_s, threadLimit,
                 [this, &errand, reading](qint64 id, qulonglong now) {
                     if (id == reading->thread && now > reading->expected)
                         readLoaded(errand, reading, now);
                 });
    const auto end = [this, &errand, reading] { finishThread(errand, reading); };
    listen(errand, [this, &errand, reading, end](const VXConnectMessage &message) {
        reading->add(message);
        if (reading->messages.size() >= 4 * portionSize)
            handOver(errand, *reading); // however fast they arrive
        if (message.thread != reading->thread)
            return;
        reading->found.insert(message.identifier);
        if (qulonglong(reading->found.size()) >= reading->expected)
            return end();
        errand.prolong();
        errand.wait(rest, end);
    });
    errand.wait(rest, end);
    errand.call({.path = VXConnectNames::path(_phone),
                 .interface = VXConnectNames::conversations,
                 .method = u"requestConversation"_s,
                 .arguments = {reading->thread, 0, int(std::min(count, mostMessages))}},
                [](const QVariantList &) {});
}

void VXConnectMessages::finishThread(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    reading->counts[reading->thread] = reading->expected;
    if (qulonglong(reading->found.size()) < reading->expected)
        reading->problems.append(_device.text(u"Of a conversation only %1 of %2 messages could be read."_s)
                                     .arg(reading->found.size())
                                     .arg(reading->expected));
    if (errand.action())
        errand.action()->incrementProgress();
    const auto next = [this, &errand, reading] { readNext(errand, reading); };
    beginReading(errand, reading, u"Reading messages"_s,
                 VXBusErrand::takingLimit); // nothing more of this conversation is expected
    if (reading->messages.size() < portionSize || !handOver(errand, *reading, next))
        next();
}

// Records are made where they are needed. False if that is at the end. `next` may be called at once.
bool VXConnectMessages::handOver(VXBusErrand &errand, Reading &reading, const std::function<void()> &next) const
{
    if (!reading.isHandedOver)
        return false;
    const QList<VXConnectMessage> messages = std::exchange(reading.messages, {});
    const auto make = [messages, deviceURL = VXAbsoluteString(_device.url())] {
        return QVariantMap{{u"items"_s, recordsOf(messages, deviceURL)}};
    };
    reading.isHandedOver =
        errand.action() && errand.action()->handOver(make, next ? errand.guarded<>(next) : std::function<void()>());
    if (!reading.isHandedOver)
        reading.messages = messages;
    return reading.isHandedOver;
}

// A hundred thousand records take some time, so another thread makes them.
void VXConnectMessages::finish(VXBusErrand &errand, const std::shared_ptr<Reading> &reading) const
{
    reading->known = {};
    errand.begin(_device.text(u"Reading messages"_s), threadLimit);
    const auto make = [messages = std::exchange(reading->messages, {}), deviceURL = VXAbsoluteString(_device.url())] {
        return recordsOf(messages, deviceURL);
    };
    errand.compute(make, [&errand, reading](const QVariantList &items) {
        errand.succeed(
            {{u"items"_s, items}, {u"problems"_s, reading->problems}, {u"isComplete"_s, reading->problems.isEmpty()}});
    });
}

QVariantList VXConnectMessages::recordsOf(QList<VXConnectMessage> messages, const QString &deviceURL)
{
    std::ranges::sort(messages, {}, [](const VXConnectMessage &message) {
        return std::tuple(message.date, message.thread, message.identifier);
    });
    QVariantList items;
    items.reserve(messages.size());
    for (const VXConnectMessage &message : messages)
        items.append(message.record(deviceURL));
    return items;
}

// -- Sending

// What the phone reports as sent must be newer than everything it has; a program that has just started does not know
// yet what that is.
void VXConnectMessages::send(VXBusErrand &errand)
{
    const VXTextToSend message = VXTextToSend::ofObject(errand.object());
    if (!message.error.isNull())
        return errand.fail(message.error, {{u"failure"_s, u"refused"_s}});
    errand.setResultOfFailure({{u"failure"_s, u"later"_s}}); // until the request is passed to the daemon
    const auto go = [this, &errand, message] {
        sendNow(errand, std::make_shared<Sending>(Sending{.message = message, .before = _newest}));
    };
    if (_watermark)
        return go();
    errand.begin(_device.text(u"Looking for conversations"_s), threadsLimit);
    const auto look = [this, &errand, go] { askForNewest(errand, go); };
    errand.wait(quiet, look); // even if it reports none
    askForThreads(errand, look);
}

void VXConnectMessages::sendNow(VXBusErrand &errand, const std::shared_ptr<Sending> &sending)
{
    errand.setResultOfFailure({});
    errand.begin(_device.text(u"Sending the message"_s), sendLimit);
    listen(errand, [this, &errand, sending](const VXConnectMessage &message) { follow(errand, sending, message); });
    const QVariant address = QVariant::fromValue(VXConnectAddress{.address = sending->message.number});
    errand.ask({.path = VXConnectNames::path(_phone, u"sms"_s),
                .interface = VXConnectNames::sms,
                .method = u"sendSms"_s,
                .arguments = {QVariantList{address}, sending->message.text, QVariantList(), qint64(-1)}},
               [&errand](const QDBusMessage &answer) {
                   if (answer.type() == QDBusMessage::ErrorMessage) // it did not even reach the phone
                       errand.fail(VXBusErrand::errorOf(answer), {{u"failure"_s, u"later"_s}});
               });
}

// There is no receipt: the message counts as sent once it comes back as a sent one.
void VXConnectMessages::follow(VXBusErrand &errand, const std::shared_ptr<Sending> &sending,
                               const VXConnectMessage &message)
{
    const bool isOurs = sending->before.isBefore(message.date) && !message.isIncoming() &&
                        message.body == sending->message.text &&
                        VXConversationKey(message.number()) == VXConversationKey(sending->message.number);
    if (!isOurs)
        return;
    if (message.type == VXConnectMessage::Sent)
        errand.succeed();
    else if (message.type == VXConnectMessage::Failed)
        errand.fail(VXBusError(_device.text(u"The phone could not send the message."_s)),
                    {{u"failure"_s, u"refused"_s}});
    else
        errand.prolong(); // it is on its way
}
