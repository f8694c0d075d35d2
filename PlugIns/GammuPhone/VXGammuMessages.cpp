#include "VXGammuMessages.h"

#include "VXGammuMessageMap.h"
#include "VXGammuReading.h"
#include "VXGammuText.h"

#include <algorithm>
#include <memory>
#include <span>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QString cannotSend()
{
    return VXGammuLocalizedString(u"The message could not be sent: %1"_s);
}

QStringList folderNames(VXGammuSession &session)
{
    const auto folders = std::make_unique<GSM_SMSFolders>();
    QStringList names;
    if (session.call([&](auto *machine) { return GSM_GetSMSFolders(machine, folders.get()); }) != ERR_NONE)
        return names;
    for (const GSM_OneSMSFolder &folder : std::span(folders->Folder, size_t(folders->Number)))
        names.append(VXTextFromGammu(folder.Name));
    return names;
}

void expectMessages(VXGammuSession &session, VXGammuReading &reading)
{
    GSM_SMSMemoryStatus status{};
    if (session.call([&](auto *machine) { return GSM_GetSMSStatus(machine, &status); }) == ERR_NONE)
        reading.expectMore(status.SIMUsed + status.PhoneUsed);
}

// The parts of all messages; the phone is asked until it has no more.
GSM_Error readParts(VXGammuSession &session, VXDeviceAction &action, VXGammuReading &reading,
                    std::vector<GSM_SMSMessage> &parts)
{
    const auto next = std::make_unique<GSM_MultiSMSMessage>();
    for (int refused = -1, isFirst = 1;; isFirst = 0) {
        if (reading.isCancelled())
            return ERR_CANCELED;
        next->SMS[0].Folder = 0; // the location names the folder too
        const int before = next->SMS[0].Location;
        const GSM_Error code =
            session.call([&](auto *machine) { return GSM_GetNextSMS(machine, next.get(), isFirst); });
        if (code == ERR_EMPTY)
            return ERR_NONE;
        if (VXGammuSession::endsConnection(code) || (isFirst != 0 && code == ERR_NOTSUPPORTED))
            return code;
        const int location = next->SMS[0].Location;
        if (code != ERR_NONE) {
            reading.addProblem(u"SMS %1"_s.arg(location), code);
            if (location == before || std::exchange(refused, location) == location)
                return ERR_NONE; // the phone does not get past it
            continue;
        }
        const auto read = std::span(next->SMS, size_t(next->Number));
        parts.insert(parts.end(), read.begin(), read.end());
        action.incrementProgress();
    }
}

// The text as parts, addressed; a text of Latin letters takes fewer.
GSM_Error encode(const QString &number, const QString &text, GSM_MultiSMSMessage &parts)
{
    std::vector<unsigned char> buffer(size_t(text.size() + 1) * 2);
    if (!VXTextToGammu(text, buffer))
        return ERR_INVALIDDATA;
    const auto info = std::make_unique<GSM_MultiPartSMSInfo>();
    GSM_ClearMultiPartSMSInfo(info.get());
    info->Class = -1;
    info->EntriesNum = 1;
    info->Entries[0].ID = SMS_ConcatenatedAutoTextLong16bit;
    info->Entries[0].Buffer = buffer.data();
    const GSM_Error code = GSM_EncodeMultiPartSMS(GSM_GetGlobalDebug(), info.get(), &parts);
    if (code != ERR_NONE)
        return code;
    for (GSM_SMSMessage &part : std::span(parts.SMS, size_t(parts.Number))) {
        part.PDU = SMS_Submit;
        if (!VXTextToGammu(number, part.Number))
            return ERR_INVALIDDATA;
    }
    return ERR_NONE;
}

// How much of a text the parts hold, in UTF-16 units.
qsizetype encodedLength(const GSM_MultiSMSMessage &parts)
{
    qsizetype length = 0;
    for (const GSM_SMSMessage &part : std::span(parts.SMS, size_t(parts.Number)))
        length += VXTextFromGammu(part.Text).size();
    return length;
}

VXError sendParts(VXGammuSession &session, VXDeviceAction &action, GSM_MultiSMSMessage &parts)
{
    GSM_SMSC centre{};
    centre.Location = 1;
    const GSM_Error known = session.call([&](auto *machine) { return GSM_GetSMSC(machine, &centre); });
    if (VXGammuSession::endsConnection(known))
        return VXMakeGammuError(cannotSend(), known);
    action.setProgressMaxValue(parts.Number);
    for (int at = 0; at < parts.Number; ++at) {
        GSM_SMSMessage &part = parts.SMS[at];
        if (known == ERR_NONE)
            part.SMSC = centre;
        const GSM_Error code =
            action.isCancelled()
                ? ERR_CANCELED
                : session.waitUntilSent([&](GSM_StateMachine *machine) { return GSM_SendSMS(machine, &part); });
        action.setResult(QVariantMap{{u"partCount"_s, parts.Number}, {u"sentCount"_s, at + (code == ERR_NONE)}});
        if (code != ERR_NONE)
            return at == 0
                       ? VXMakeGammuError(cannotSend(), code)
                       : VXMakeGammuError(VXGammuLocalizedString(u"Only %2 of %3 parts of the message were sent: %1"_s)
                                              .replace(u"%2"_s, QString::number(at))
                                              .replace(u"%3"_s, QString::number(parts.Number)),
                                          code);
        action.incrementProgress();
    }
    return {};
}

QVariantList locationsOf(const QVariantMap &message)
{
    if (message.contains(u"locations"_s))
        return message.value(u"locations"_s).toList();
    return message.contains(u"location"_s) ? QVariantList{message.value(u"location"_s)} : QVariantList();
}

} // namespace

VXError VXGammuMessages::read(VXGammuSession &session, VXDeviceAction &action)
{
    VXGammuReading reading(action);
    const QStringList folders = folderNames(session);
    expectMessages(session, reading);
    std::vector<GSM_SMSMessage> parts;
    const GSM_Error code = readParts(session, action, reading, parts);
    for (const QVariant &message : VXMessagesFromGammu(parts, folders))
        reading.addItem(message.toMap());
    return reading.finish(VXGammuLocalizedString(u"The messages could not be read: %1"_s), code);
}

VXError VXGammuMessages::send(VXGammuSession &session, VXDeviceAction &action)
{
    const QVariantMap message = action.object().toMap();
    const QString number = VXDialableNumber(message.value(u"number"_s).toString());
    const QString text = message.value(u"text"_s).toString();
    if (number.isNull())
        return VXMakeGammuRequestError(
            VXGammuLocalizedString(u"\"%1\" is no phone number."_s).arg(message.value(u"number"_s).toString()));
    if (text.isEmpty())
        return VXMakeGammuRequestError(VXGammuLocalizedString(u"The message has no text."_s));
    const auto parts = std::make_unique<GSM_MultiSMSMessage>();
    const GSM_Error code = session.call([&](GSM_StateMachine *) { return encode(number, text, *parts); });
    if (code != ERR_NONE)
        return VXMakeGammuError(cannotSend(), code);
    if (encodedLength(*parts) < text.size())
        return VXMakeGammuRequestError(
            VXGammuLocalizedString(u"The message is too long: it takes more than %1 parts."_s).arg(GSM_MAX_MULTI_SMS));
    return sendParts(session, action, *parts);
}

VXError VXGammuMessages::remove(VXGammuSession &session, VXDeviceAction &action)
{
    const QVariantList locations = locationsOf(action.object().toMap());
    if (locations.isEmpty() ||
        std::ranges::any_of(locations, [](const QVariant &value) { return VXLocationFromVariant(value) == 0; }))
        return VXMakeGammuRequestError(VXGammuLocalizedString(u"The message to delete must have a location."_s));
    for (const QVariant &location : locations) {
        GSM_SMSMessage part{};
        part.Location = VXLocationFromVariant(location);
        const GSM_Error code = action.isCancelled()
                                   ? ERR_CANCELED
                                   : session.call([&](auto *machine) { return GSM_DeleteSMS(machine, &part); });
        if (code != ERR_NONE)
            return VXMakeGammuError(VXGammuLocalizedString(u"The message could not be deleted: %1"_s), code);
    }
    return {};
}

QVariantMap VXGammuMessages::reported(VXGammuSession &session, const GSM_SMSMessage &message)
{
    const bool isWhole = message.State != 0; // else it tells only where the message lies
    const auto read = std::make_unique<GSM_MultiSMSMessage>();
    read->Number = 1;
    read->SMS[0] = message;
    if (!isWhole) {
        read->SMS[0].Folder = 0;
        if (session.call([&](auto *machine) { return GSM_GetSMS(machine, read.get()); }) != ERR_NONE)
            return {};
    }
    const auto parts = std::span(read->SMS, size_t(read->Number));
    const QVariantList messages = VXMessagesFromGammu({parts.begin(), parts.end()}, {});
    return messages.isEmpty() ? QVariantMap() : messages.first().toMap();
}
