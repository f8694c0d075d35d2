#include "VXModemMessages.h"

#include "VXBusText.h"
#include "VXDeviceURL.h"
#include "VXModemNames.h"
#include "VXPhoneText.h"

#include <QtCore/QDateTime>
#include <QtCore/QRegularExpression>

#include <array>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto answerLimit = 15s;
constexpr auto sendLimit = 120s; // the network may need some time for each part

// ModemManager writes only the hours of the zone; a time without a zone is in the computer's zone.
QDateTime dateFromText(const QString &text)
{
    static const QRegularExpression hoursOnly(u"[+-]\\d\\d\\z"_s);
    return QDateTime::fromString(text.contains(hoursOnly) ? text + ":00"_L1 : text, Qt::ISODate);
}

bool isIncoming(int kind, int state)
{
    using namespace VXModemNames;
    if (kind == KindUnknown)
        return state == Receiving || state == Received;
    return kind != Submit && kind != CDMASubmit;
}

QString memoryName(uint storage)
{
    static const std::array names{u"SM"_s, u"ME"_s, u"MT"_s, u"SR"_s, u"BM"_s, u"TA"_s};
    return storage >= 1 && storage <= names.size() ? names.at(storage - 1) : u"ME"_s;
}

bool isObjectGone(const QDBusMessage &answer)
{
    const QString name = answer.errorName();
    return name.endsWith(".UnknownMethod"_L1) || name.endsWith(".UnknownObject"_L1) || name.endsWith(".NotFound"_L1);
}

// What happened to a message that could not be sent, in the words of "send_message"; null if nobody knows.
QString fateOfMessage(const QDBusMessage &answer, bool isShort)
{
    const QString name = answer.errorName().section("org.freedesktop.ModemManager1.Error."_L1, 1);
    if (name.endsWith(".InvalidArgs"_L1) || name.startsWith("Message.Invalid"_L1) || name.endsWith(".Unsupported"_L1))
        return u"refused"_s;
    // If the modem refuses, it has not sent it; but of several parts some may be under way.
    return isShort && !name.isEmpty() && !name.contains("Timeout"_L1) ? u"later"_s : QString();
}

VXError errorOfSending(const QDBusMessage &answer, const VXBusDevice &device)
{
    const VXError error = VXBusErrand::errorOf(answer);
    const bool isForbidden =
        answer.errorName().endsWith(".Unauthorized"_L1) || answer.errorName().endsWith(".AccessDenied"_L1);
    return VXBusError(device.text(u"The message could not be sent: %1"_s).arg(error.localizedDescription()),
                      isForbidden
                          ? device.text(u"ModemManager lets only the user who sits at the computer use modems."_s)
                          : error.localizedRecoverySuggestion());
}

} // namespace

struct VXModemMessages::Reading
{
    QStringList paths; // the remaining ones, the last first
    QVariantList items = {};
    QStringList problems = {};
};

VXModemMessages::VXModemMessages(VXBusDevice &device, VXBusQueue &queue) : _device(device), _queue(queue)
{
    VXBusService &service = *queue.service();
    service.listen({}, VXModemNames::messaging, u"Added"_s, this,
                   [this](const QDBusMessage &signal) { wasAdded(signal); });
    service.listen({}, VXBusNames::properties, u"PropertiesChanged"_s, this,
                   [this](const QDBusMessage &signal) { didChange(signal); });
}

void VXModemMessages::setModem(const QString &path)
{
    _modem = path;
    _incomplete.clear();
    _told.clear();
}

VXBusCall VXModemMessages::getAll(const QString &path) const
{
    return {.path = path,
            .interface = VXBusNames::properties,
            .method = u"GetAll"_s,
            .arguments = {VXModemNames::sms},
            .signature = u"a{sv}"_s};
}

VXBusCall VXModemMessages::deletion(const QString &path) const
{
    return {.path = _modem,
            .interface = VXModemNames::messaging,
            .method = u"Delete"_s,
            .arguments = {QVariant::fromValue(QDBusObjectPath(path))}};
}

// With the keys of records and of the first driver. Modems do not record what was read.
QVariantMap VXModemMessages::record(const QString &path, const QVariantMap &properties) const
{
    using namespace VXModemNames;
    const int state = properties.value(u"State"_s).toInt();
    const int kind = properties.value(u"PduType"_s).toInt();
    const bool isIn = isIncoming(kind, state);
    const QString location = path.section(u'/', -1);
    const QString memory = memoryName(properties.value(u"Storage"_s).toUInt());
    QVariantMap record{{u"kind"_s, kind == StatusReport ? u"report"_s : u"message"_s},
                       {u"state"_s, isIn            ? u"unread"_s
                                    : state == Sent ? u"sent"_s
                                                    : u"unsent"_s},
                       {u"memory"_s, memory},
                       {u"locations"_s, QVariantList{location.toInt()}},
                       {u"isComplete"_s, state != Receiving},
                       {u"isInbox"_s, isIn},
                       {u"device_url"_s, VXAbsoluteString(_device.url())},
                       {u"url"_s, u"%1/messages/%2/%3"_s.arg(VXAbsoluteString(_device.url()), memory, location)}};
    VXInsertParty(record, isIn, properties.value(u"Number"_s).toString());
    if (const QString centre = properties.value(u"SMSC"_s).toString(); !centre.isEmpty())
        record.insert(u"serviceCentre"_s, centre);
    if (const QDateTime date = dateFromText(properties.value(u"Timestamp"_s).toString()); date.isValid())
        record.insert(u"date"_s, date);
    const QByteArray data = properties.value(u"Data"_s).toByteArray();
    const QString text = properties.value(u"Text"_s).toString();
    record.insert(u"isDecodable"_s, data.isEmpty() || !text.isEmpty());
    if (!text.isEmpty() || data.isEmpty())
        record.insert(u"text"_s, text.isNull() ? u""_s : text);
    else
        record.insert(u"data"_s, data);
    return record;
}

// -- Reading

void VXModemMessages::read(VXBusErrand &errand)
{
    errand.begin(_device.text(u"Reading messages"_s), answerLimit);
    errand.call({.path = _modem, .interface = VXModemNames::messaging, .method = u"List"_s, .signature = u"ao"_s},
                [this, &errand](const QVariantList &answer) {
                    const auto reading = std::make_shared<Reading>();
                    for (const QDBusObjectPath &path : qdbus_cast<QList<QDBusObjectPath>>(answer.value(0)))
                        reading->paths.prepend(path.path());
                    if (errand.action())
                        errand.action()->setProgressMaxValue(double(reading->paths.size()));
                    readNext(errand, reading);
                });
}

void VXModemMessages::readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    if (reading->paths.isEmpty())
        return errand.succeed({{u"items"_s, reading->items},
                               {u"problems"_s, reading->problems},
                               {u"isComplete"_s, reading->problems.isEmpty()}});
    const QString path = reading->paths.takeLast();
    errand.prolong();
    errand.ask(getAll(path), [this, &errand, reading, path](const QDBusMessage &answer) {
        if (answer.type() != QDBusMessage::ErrorMessage)
            reading->items.append(record(path, qdbus_cast<QVariantMap>(answer.arguments().value(0))));
        else if (!isObjectGone(answer)) // otherwise it was deleted in the meantime
            reading->problems.append(VXBusErrand::errorOf(answer).localizedDescription());
        if (errand.action())
            errand.action()->incrementProgress();
        readNext(errand, reading);
    });
}

// -- Sending and deleting

void VXModemMessages::send(VXBusErrand &errand)
{
    const VXTextToSend message = VXTextToSend::ofObject(errand.object());
    if (!message.error.isNull())
        return errand.fail(message.error, {{u"failure"_s, u"refused"_s}});
    errand.setResultOfFailure({{u"failure"_s, u"later"_s}}); // until it is made
    errand.begin(_device.text(u"Sending the message"_s), answerLimit);
    const QVariantMap properties{{u"number"_s, message.number}, {u"text"_s, message.text}};
    errand.ask({.path = _modem,
                .interface = VXModemNames::messaging,
                .method = u"Create"_s,
                .arguments = {properties},
                .signature = u"o"_s},
               [this, &errand, isShort = message.isShort()](const QDBusMessage &answer) {
                   if (answer.type() == QDBusMessage::ErrorMessage) {
                       const QString fate = fateOfMessage(answer, true);
                       return errand.fail(errorOfSending(answer, _device),
                                          fate.isNull() ? QVariantMap() : QVariantMap{{u"failure"_s, fate}});
                   }
                   sendCreated(errand, answer.arguments().value(0).value<QDBusObjectPath>().path(), isShort);
               });
}

void VXModemMessages::sendCreated(VXBusErrand &errand, const QString &path, bool isShort)
{
    errand.setResultOfFailure({});
    // Whoever reads the modem would take its copy for a message of its own.
    errand.setFarewell([service = _queue.service(), forget = deletion(path)] { service->send(forget); });
    errand.begin(_device.text(u"Sending the message"_s), sendLimit);
    errand.ask({.path = path, .interface = VXModemNames::sms, .method = u"Send"_s},
               [this, &errand, isShort, path](const QDBusMessage &answer) {
                   if (answer.type() == QDBusMessage::ErrorMessage) {
                       const QString fate = fateOfMessage(answer, isShort);
                       return errand.fail(errorOfSending(answer, _device),
                                          fate.isNull() ? QVariantMap() : QVariantMap{{u"failure"_s, fate}});
                   }
                   errand.service().send(deletion(path));
                   errand.succeed();
               });
}

// Numbers of messages are reused: it must be the message that was read.
void VXModemMessages::remove(VXBusErrand &errand)
{
    const QVariantMap message = errand.object().toMap();
    const QVariantList locations = message.value(u"locations"_s).toList();
    const QVariant location = locations.isEmpty() ? message.value(u"location"_s) : locations.first();
    bool isNumber = false;
    const int number = location.toInt(&isNumber);
    if (!isNumber || number < 0)
        return errand.fail(VXBusError(_device.text(u"The message to delete must have a location."_s)));
    const QString path = u"%1/SMS/%2"_s.arg(VXModemNames::root).arg(number);
    errand.begin(_device.text(u"Deleting the message"_s), answerLimit);
    errand.ask(getAll(path), [this, &errand, message, path](const QDBusMessage &answer) {
        const QVariantMap there = answer.type() == QDBusMessage::ErrorMessage
                                      ? QVariantMap()
                                      : record(path, qdbus_cast<QVariantMap>(answer.arguments().value(0)));
        const auto differs = [&](const QString &key) {
            return message.contains(key) && message.value(key) != there.value(key);
        };
        if (there.isEmpty() || differs(u"number"_s) || differs(u"text"_s))
            return errand.fail(
                VXBusError(_device.text(u"Another message lies there, or none; read the messages again."_s)));
        errand.call(deletion(path), [&errand](const QVariantList &) { errand.succeed(); });
    });
}

// -- New ones

void VXModemMessages::wasAdded(const QDBusMessage &signal)
{
    const QVariantList arguments = signal.arguments();
    // What is announced while the modem is being enabled was there already.
    if (signal.path() == _modem && _device.isConnected() && arguments.value(1).toBool())
        announce(arguments.value(0).value<QDBusObjectPath>().path());
}

void VXModemMessages::didChange(const QDBusMessage &signal)
{
    if (_incomplete.contains(signal.path()))
        announce(signal.path());
}

void VXModemMessages::announce(const QString &path)
{
    const auto take = [this, path, modem = _modem](const QDBusMessage &answer) {
        if (answer.type() == QDBusMessage::ErrorMessage || modem != _modem || _told.contains(path))
            return;
        const QVariantMap properties = qdbus_cast<QVariantMap>(answer.arguments().value(0));
        const int state = properties.value(u"State"_s).toInt();
        if (state == VXModemNames::Receiving) {
            _incomplete.insert(path);
            return;
        }
        _incomplete.remove(path);
        const QVariantMap message = record(path, properties);
        if (state != VXModemNames::Received || message.value(u"kind"_s) != "message"_L1 || !message.contains(u"text"_s))
            return;
        _told.insert(path);
        _device.announce(u"new_message"_s, {}, message);
    };
    _queue.service()->call(getAll(path), answerLimit, this, take);
}
