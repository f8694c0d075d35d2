#include "VXMessageAccess.h"

#include "VXBluetoothNames.h"
#include "VXBusNames.h"
#include "VXBusText.h"
#include "VXBusValue.h"
#include "VXDeviceURL.h"
#include "VXPhoneText.h"
#include "VXTransferFolder.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTimeZone>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusObjectPath>

#include <deque>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto stepLimit = 70s; // without a sign of life: the service gives up on a stuck phone after 60
constexpr quint16 pageSize = 1000;
constexpr int lastOffset = 65'535 - pageSize; // the protocol cannot count further

using Listed = VXListedMessage;

// A thousand take some time.
QList<Listed> listedFrom(const QVariant &answer)
{
    QList<Listed> messages;
    const auto argument = answer.value<QDBusArgument>();
    argument.beginMap();
    while (!argument.atEnd()) {
        QDBusObjectPath path;
        QVariantMap values;
        argument.beginMapEntry();
        argument >> path >> values;
        argument.endMapEntry();
        messages.append({path.path(), values});
    }
    argument.endMap();
    return messages;
}

// What a phone files under messages may also be mail, or belong to other programs.
bool isText(const QString &type)
{
    return type.isEmpty() || type.startsWith("sms"_L1, Qt::CaseInsensitive) ||
           type.startsWith("mms"_L1, Qt::CaseInsensitive);
}

// "20261121T203000", in the phone's time, which is assumed to be that of this computer; with a zone if the phone gives
// one.
QDateTime dateFrom(const QString &stamp)
{
    QDateTime date = QDateTime::fromString(stamp.first(std::min<qsizetype>(stamp.size(), 15)), u"yyyyMMddThhmmss"_s);
    const QString zone = stamp.mid(15);
    if (zone == "Z"_L1)
        date.setTimeZone(QTimeZone::utc());
    else if (zone.size() == 5)
        date.setOffsetFromUtc((zone.first(1) == "-"_L1 ? -1 : 1) *
                              (zone.sliced(1, 2).toInt() * 3600 + zone.sliced(3, 2).toInt() * 60));
    return date;
}

bool isObjectUnknown(const QDBusMessage &answer)
{
    return answer.errorName().endsWith(".UnknownObject"_L1) || answer.errorName().endsWith(".UnknownMethod"_L1) ||
           answer.errorName().endsWith(".UnknownInterface"_L1);
}

QString handleOf(const QString &path)
{
    return path.section("/message"_L1, -1);
}

VXMessageEnvelope envelopeIn(const QString &path)
{
    QFile file(path);
    const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    file.remove();
    return VXMessageEnvelope::fromData(bytes);
}

} // namespace

/** One reading of all folders: message by message, because lists contain truncated texts. */
struct VXMessageAccess::Reading
{
    QStringList folders = {u"inbox"_s, u"sent"_s}; // the remaining ones
    int offset = 0;                                // in the first
    std::deque<Listed> messages = {};              // of all lists, the remaining ones
    QSet<QString> known = {};                      // paths, because some phones always begin with the first
    VXTransferFolder folder = {};
    QVariantList items = {};
    QStringList problems = {};
};

VXMessageAccess::VXMessageAccess(VXBusDevice &device, VXBusQueue &queue, VXObexPeer peer)
    : _device(device), _queue(queue), _peer(std::move(peer))
{
    VXBusService &service = *queue.service();
    service.listen(u"/"_s, VXBusNames::objectManager, u"InterfacesAdded"_s, this,
                   [this](const QDBusMessage &signal) { wasAdded(signal); });
    service.listen(u"/"_s, VXBusNames::objectManager, u"InterfacesRemoved"_s, this,
                   [this](const QDBusMessage &signal) { wasRemoved(signal); });
    connect(&service, &VXBusService::didVanish, this, [this] {
        if (!std::exchange(_session, {}).isNull())
            Q_EMIT didLose();
    });
}

VXMessageAccess::~VXMessageAccess()
{
    close();
}

void VXMessageAccess::close()
{
    if (const QString session = std::exchange(_session, {}); !session.isNull())
        _queue.service()->send(VXObexFarewell(session));
}

VXBusCall VXMessageAccess::call(const QString &method, const QVariantList &arguments, const QString &signature) const
{
    return {.path = _session,
            .interface = VXBluetoothNames::messages,
            .method = method,
            .arguments = arguments,
            .signature = signature};
}

// -- The session

void VXMessageAccess::withSession(VXBusErrand &errand, const Then &then)
{
    if (isOpen())
        return then();
    VXOpenObexSession(errand, _peer, u"map"_s, [this, &errand, then](const QString &session) {
        _session = session;
        _told.clear();
        errand.setFarewell([this] { close(); }); // without its folder it is useless
        errand.begin(_peer.text(u"Connecting"_s), stepLimit);
        errand.ask(call(u"SetFolder"_s, {u"/telecom/msg"_s}, {}), [&errand, then](const QDBusMessage &answer) {
            if (answer.type() == QDBusMessage::ErrorMessage)
                return errand.fail(VXBusErrand::errorOf(answer));
            errand.setFarewell({});
            then();
        });
    });
}

void VXMessageAccess::open(VXBusErrand &errand)
{
    withSession(errand, [&errand] { errand.succeed(); });
}

// -- Reading

void VXMessageAccess::read(VXBusErrand &errand)
{
    withSession(errand, [this, &errand] { list(errand, std::make_shared<Reading>()); });
}

void VXMessageAccess::list(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    if (reading->folders.isEmpty()) {
        if (errand.action())
            errand.action()->setProgressMaxValue(double(reading->messages.size()));
        return readNext(errand, reading);
    }
    if (reading->folder.path().isNull())
        return errand.fail(VXBusError(_peer.text(u"There is no place for what the phone hands over."_s)));
    errand.begin(_peer.text(u"Reading messages"_s), stepLimit);
    const QVariantMap filter{{u"Offset"_s, QVariant::fromValue(quint16(reading->offset))},
                             {u"MaxCount"_s, QVariant::fromValue(pageSize)}};
    errand.ask(call(u"ListMessages"_s, {reading->folders.first(), filter}, u"a{oa{sv}}"_s),
               [this, &errand, reading](const QDBusMessage &answer) {
                   if (answer.type() != QDBusMessage::ErrorMessage)
                       return errand.compute([list = answer.arguments().value(0)] { return listedFrom(list); },
                                             [this, &errand, reading](const QList<Listed> &listed) {
                                                 takeList(errand, reading, listed);
                                             });
                   // A folder may be missing; if a phone has none of them, the reading fails.
                   const QString folder = reading->folders.takeFirst();
                   const VXError error = VXBusErrand::errorOf(answer);
                   if (folder == "inbox"_L1)
                       return errand.fail(error);
                   reading->problems.append(u"%1: %2"_s.arg(folder, error.localizedDescription()));
                   reading->offset = 0;
                   list(errand, reading);
               });
}

void VXMessageAccess::takeList(VXBusErrand &errand, const std::shared_ptr<Reading> &reading,
                               const QList<Listed> &messages)
{
    const qsizetype before = reading->known.size();
    for (const Listed &message : messages) {
        if (!reading->known.contains(message.path) && isText(message.values.value(u"Type"_s).toString()))
            reading->messages.push_back(message);
        reading->known.insert(message.path);
    }
    const bool mayBeMore = messages.size() >= pageSize && reading->known.size() > before;
    if (mayBeMore && reading->offset >= lastOffset)
        reading->problems.append(_peer.text(u"The phone has more messages than can be listed."_s));
    if (mayBeMore && reading->offset < lastOffset) {
        reading->offset += pageSize;
    } else {
        reading->folders.removeFirst();
        reading->offset = 0;
    }
    list(errand, reading);
}

void VXMessageAccess::readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    if (reading->messages.empty())
        return errand.succeed({{u"items"_s, reading->items},
                               {u"problems"_s, reading->problems},
                               {u"isComplete"_s, reading->problems.isEmpty()}});
    const Listed message = reading->messages.front();
    reading->messages.pop_front();
    errand.begin(_peer.text(u"Reading messages"_s), stepLimit);
    const QString path = reading->folder.filePath(u"message"_s);
    const VXBusCall get{.path = message.path,
                        .interface = VXBluetoothNames::message,
                        .method = u"Get"_s,
                        .arguments = {path, false},
                        .signature = u"oa{sv}"_s};
    const auto take = [this, &errand, reading, message, path](const VXError &problem) {
        if (problem.isNull())
            reading->items.append(record(message.path, message.values, envelopeIn(path)));
        else
            reading->problems.append(u"%1: %2"_s.arg(handleOf(message.path), problem.localizedDescription()));
        if (errand.action())
            errand.action()->incrementProgress();
        readNext(errand, reading); // the others may be available
    };
    errand.setFarewell(VXRunObexTransfer(errand, _peer, get, take));
}

// With the keys of records and of the first driver.
QVariantMap VXMessageAccess::record(const QString &path, const QVariantMap &listed,
                                    const VXMessageEnvelope &envelope) const
{
    const QString folder = (envelope.folder.isEmpty() ? listed.value(u"Folder"_s).toString() : envelope.folder)
                               .section(u'/', -1)
                               .toLower();
    const bool isIn = folder == "inbox"_L1 || folder.isEmpty();
    const bool isRead = listed.contains(u"Read"_s) ? listed.value(u"Read"_s).toBool() : envelope.isRead;
    const QString handle = handleOf(path);
    QVariantMap record{{u"kind"_s, u"message"_s},
                       {u"state"_s, isIn                  ? (isRead ? u"read"_s : u"unread"_s)
                                    : folder == "sent"_L1 ? u"sent"_s
                                                          : u"unsent"_s},
                       {u"memory"_s, folder},
                       {u"folder"_s, folder},
                       {u"isInbox"_s, isIn},
                       {u"locations"_s, QVariantList{handle}},
                       {u"isComplete"_s, envelope.isComplete},
                       {u"isDecodable"_s, envelope.data.isEmpty()},
                       {u"device_url"_s, VXAbsoluteString(_device.url())},
                       {u"url"_s, u"%1/messages/%2/%3"_s.arg(VXAbsoluteString(_device.url()), folder, handle)}};
    const QString listedNumber = listed.value(isIn ? u"SenderAddress"_s : u"RecipientAddress"_s).toString();
    const QString number = isIn ? envelope.sender : envelope.recipient;
    VXInsertParty(record, isIn, number.isEmpty() ? listedNumber : number);
    if (const QDateTime date = dateFrom(listed.value(u"Timestamp"_s).toString()); date.isValid())
        record.insert(u"date"_s, date);
    if (envelope.data.isEmpty())
        record.insert(u"text"_s, envelope.text.isNull() ? u""_s : envelope.text);
    else
        record.insert(u"data"_s, envelope.data);
    return record;
}

// -- Sending

void VXMessageAccess::send(VXBusErrand &errand)
{
    const VXTextToSend message = VXTextToSend::ofObject(errand.object());
    if (!message.error.isNull())
        return errand.fail(message.error, {{u"failure"_s, u"refused"_s}});
    errand.setResultOfFailure({{u"failure"_s, u"later"_s}}); // until something is handed to the phone
    withSession(errand, [this, &errand, message] { push(errand, message.number, message.text); });
}

void VXMessageAccess::push(VXBusErrand &errand, const QString &number, const QString &text)
{
    const auto folder = std::make_shared<VXTransferFolder>();
    const QString path = folder->filePath(u"message"_s);
    QFile file(path);
    const QByteArray bytes = VXMessageEnvelope::toBeSent(number, text);
    if (folder->path().isNull() || !file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() ||
        !file.flush())
        return errand.fail(VXBusError(_peer.text(u"There is no place for what the phone hands over."_s)));
    errand.begin(_peer.text(u"Sending the message"_s), stepLimit);
    errand.setResultOfFailure({});
    // The phone accepts it; nobody reports what happens to it in the network.
    const auto taken = [&errand, folder](const VXError &problem) {
        if (problem.isNull())
            errand.succeed({{u"partCount"_s, 1}, {u"sentCount"_s, 1}});
        else
            errand.fail(problem);
    };
    const VXBusCall push = call(u"PushMessage"_s, {path, u"outbox"_s, QVariantMap()}, u"oa{sv}"_s);
    errand.setFarewell(VXRunObexTransfer(errand, _peer, push, taken));
}

// -- Marking and deleting

VXMessageAccess::Place VXMessageAccess::placeOf(const QVariantMap &message)
{
    const QVariantList locations = message.value(u"locations"_s).toList();
    return {.folder = message.value(u"memory"_s).toString(),
            .handle = (locations.isEmpty() ? message.value(u"location"_s) : locations.first()).toString()};
}

QString VXMessageAccess::pathOf(const QString &handle) const
{
    return _session + "/message"_L1 + handle;
}

void VXMessageAccess::write(VXBusErrand &errand)
{
    const QVariant state = errand.object().toMap().value(u"state"_s);
    const bool isRead = state == u"read"_s || state == 3;
    if (!isRead && state != u"unread"_s && state != 1)
        return errand.fail(
            VXBusError(_peer.text(u"By Bluetooth messages can be marked as read or unread, and not be changed."_s)));
    change(errand, u"Read"_s, isRead);
}

void VXMessageAccess::remove(VXBusErrand &errand)
{
    change(errand, u"Deleted"_s, true);
}

void VXMessageAccess::change(VXBusErrand &errand, const QString &property, bool value)
{
    const Place place = placeOf(errand.object().toMap());
    static const QRegularExpression form(u"\\A[0-9A-Za-z]{1,40}\\z"_s); // of a part of an object's path
    if (!form.match(place.handle).hasMatch())
        return errand.fail(VXBusError(_peer.text(u"The message must have a memory and a location."_s)));
    withSession(errand, [this, &errand, place, property, value] { set(errand, place, property, value, true); });
}

// The service knows a message's handle only after it was listed.
void VXMessageAccess::set(VXBusErrand &errand, const Place &place, const QString &property, bool value, bool mayList)
{
    errand.begin(_peer.text(u"Changing messages"_s), stepLimit);
    errand.ask({.path = pathOf(place.handle),
                .interface = VXBusNames::properties,
                .method = u"Set"_s,
                .arguments = {VXBluetoothNames::message, property, QVariant::fromValue(QDBusVariant(value))}},
               [this, &errand, place, property, value, mayList](const QDBusMessage &answer) {
                   if (answer.type() != QDBusMessage::ErrorMessage)
                       return errand.succeed();
                   if (mayList && isObjectUnknown(answer))
                       return listFolder(errand, place.folder, [this, &errand, place, property, value] {
                           set(errand, place, property, value, false);
                       });
                   errand.fail(isObjectUnknown(answer)
                                   ? VXBusError(_peer.text(u"The message is not on the phone any more."_s))
                                   : VXBusErrand::errorOf(answer));
               });
}

void VXMessageAccess::listFolder(VXBusErrand &errand, const QString &folder, const Then &then)
{
    const QVariantMap filter{{u"MaxCount"_s, QVariant::fromValue(quint16(65'535))}};
    errand.call(call(u"ListMessages"_s, {folder.isEmpty() ? u"inbox"_s : folder, filter}, u"a{oa{sv}}"_s),
                [then](const QVariantList &) { then(); });
}

// -- What the phone reports

void VXMessageAccess::wasAdded(const QDBusMessage &signal)
{
    const QString path = signal.arguments().value(0).value<QDBusObjectPath>().path();
    if (!isOpen() || !path.startsWith(_session + "/message"_L1))
        return;
    const auto interfaces = VXBusInterfaces(signal.arguments().value(1));
    const QVariantMap listed = interfaces.value(VXBluetoothNames::message);
    const QString folder = listed.value(u"Folder"_s).toString();
    const bool isNews =
        listed.value(u"Status"_s) == "notification"_L1 && (folder.isEmpty() || folder.endsWith("inbox"_L1));
    if (!isNews || _told.contains(path) || !isText(listed.value(u"Type"_s).toString()))
        return;
    _told.insert(path);
    _queue.enqueue([this, path, listed](VXBusErrand &errand) { announce(errand, path, listed); }, {});
}

// The report contains neither sender nor text.
void VXMessageAccess::announce(VXBusErrand &errand, const QString &path, const QVariantMap &listed)
{
    const auto folder = std::make_shared<VXTransferFolder>();
    const QString file = folder->filePath(u"message"_s);
    errand.begin(_peer.text(u"Reading messages"_s), stepLimit);
    const VXBusCall get{.path = path,
                        .interface = VXBluetoothNames::message,
                        .method = u"Get"_s,
                        .arguments = {file, false},
                        .signature = u"oa{sv}"_s};
    const auto tell = [this, &errand, path, listed, folder, file](const VXError &problem) {
        if (!problem.isNull())
            return errand.fail(problem); // it will be read with the others
        QVariantMap message = record(path, listed, envelopeIn(file));
        message.insert(u"state"_s, u"unread"_s);
        if (!message.contains(u"date"_s))
            message.insert(u"date"_s, QDateTime::currentDateTimeUtc());
        errand.succeed();
        _device.announce(u"new_message"_s, {}, message);
    };
    errand.setFarewell(VXRunObexTransfer(errand, _peer, get, tell));
}

void VXMessageAccess::wasRemoved(const QDBusMessage &signal)
{
    const QString path = signal.arguments().value(0).value<QDBusObjectPath>().path();
    if (path == _session && isOpen()) {
        _session = QString();
        Q_EMIT didLose();
    }
}
