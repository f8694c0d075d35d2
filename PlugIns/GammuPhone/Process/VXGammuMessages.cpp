#include "VXGammuMessages.h"

#include "VXDialableNumber.h"
#include "VXGammuGate.h"
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
    return u"The message could not be sent: %1"_s;
}

QString cannotWrite()
{
    return u"The message could not be written: %1"_s;
}

QString cannotDelete()
{
    return u"The message could not be deleted: %1"_s;
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

// Reads the parts of all messages; the phone is asked until it has no more.
GSM_Error readParts(VXGammuSession &session, VXGammuJob &job, VXGammuReading &reading,
                    std::vector<GSM_SMSMessage> &parts)
{
    const auto next = std::make_unique<GSM_MultiSMSMessage>();
    for (int refused = -1, isFirst = 1;; isFirst = 0) {
        if (reading.isCancelled())
            return ERR_CANCELED;
        next->SMS[0].Folder = 0; // the location also identifies the folder
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
                return ERR_NONE; // the phone cannot get beyond it
            continue;
        }
        const auto read = std::span(next->SMS, size_t(next->Number));
        parts.insert(parts.end(), read.begin(), read.end());
        job.step();
    }
}

// Encodes the text in parts, with the address; text in Latin letters takes fewer.
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

// The library makes more parts than it fills; each would be sent, and charged for. The parts say how many there are.
void trimParts(GSM_MultiSMSMessage &parts)
{
    const auto all = std::span(parts.SMS, size_t(parts.Number));
    const auto isFull = [](const GSM_SMSMessage &part) { return UnicodeLength(part.Text) > 0; };
    parts.Number = int(std::ranges::count_if(all, isFull));
    for (GSM_SMSMessage &part : all.first(size_t(parts.Number))) {
        if (part.UDH.Length > 0 && part.UDH.AllParts > 0) {
            part.UDH.AllParts = parts.Number;
            part.UDH.Text[part.UDH.Length - 2] = static_cast<unsigned char>(parts.Number);
        }
    }
}

// How much of a text the parts hold, in UTF-16 units.
qsizetype encodedLength(const GSM_MultiSMSMessage &parts)
{
    qsizetype length = 0;
    for (const GSM_SMSMessage &part : std::span(parts.SMS, size_t(parts.Number)))
        length += VXTextFromGammu(part.Text).size();
    return length;
}

// What an error with the first part says for certain; null if it may have been sent nevertheless.
QString certainty(GSM_Error code)
{
    switch (code) {
    case ERR_CANCELED: // before it was requested
    case ERR_NOSIM:
    case ERR_SECURITYERROR:
    case ERR_BUSY:
    case ERR_NETWORK_ERROR:
        return u"later"_s;
    case ERR_TIMEOUT:
    case ERR_ABORTED:
    case ERR_UNKNOWNRESPONSE:
    case ERR_FRAMENOTREQUESTED:
        return {};
    default:
        return VXGammuSession::endsConnection(code) ? QString() : u"refused"_s; // the phone's answer
    }
}

QVariantMap failed(const QString &how)
{
    return how.isNull() ? QVariantMap() : QVariantMap{{u"failure"_s, how}};
}

VXGammuFailure sendParts(VXGammuSession &session, VXGammuJob &job, GSM_MultiSMSMessage &parts)
{
    GSM_SMSC centre{};
    centre.Location = 1;
    const GSM_Error known = session.call([&](auto *machine) { return GSM_GetSMSC(machine, &centre); });
    if (VXGammuSession::endsConnection(known)) {
        job.setResult(failed(u"later"_s));
        return VXGammuTrouble(cannotSend(), known);
    }
    job.expect(parts.Number);
    for (int at = 0; at < parts.Number; ++at) {
        GSM_SMSMessage &part = parts.SMS[at];
        if (known == ERR_NONE)
            part.SMSC = centre;
        const GSM_Error code = job.isCancelled() ? ERR_CANCELED : session.waitUntilSent([&](GSM_StateMachine *machine) {
            return GSM_SendSMS(machine, &part);
        });
        QVariantMap result{{u"partCount"_s, parts.Number}, {u"sentCount"_s, at + (code == ERR_NONE)}};
        if (code != ERR_NONE && at == 0)
            result.insert(failed(certainty(code)));
        job.setResult(result);
        if (code != ERR_NONE)
            return at == 0
                       ? VXGammuTrouble(cannotSend(), code)
                       : VXGammuFailure{code,
                                        u"Only %2 of %3 parts of the message were sent: %1"_s,
                                        {VXGammuErrorText(code), QString::number(at), QString::number(parts.Number)}};
        job.step();
    }
    return {};
}

QVariantList locationsOf(const QVariantMap &message)
{
    if (message.contains(u"locations"_s))
        return message.value(u"locations"_s).toList();
    return message.contains(u"location"_s) ? QVariantList{message.value(u"location"_s)} : QVariantList();
}

GSM_SMS_State stateOf(const QVariantMap &message)
{
    const QVariant state = message.value(u"state"_s);
    const QStringList words{u"unsent"_s, u"unread"_s, u"sent"_s, u"read"_s}; // in the order of their numbers
    switch (words.contains(state.toString()) ? words.indexOf(state.toString()) : state.toInt()) {
    case 0:
        return SMS_UnSent;
    case 1:
        return SMS_UnRead;
    case 2:
        return SMS_Sent;
    default:
        return SMS_Read;
    }
}

// The locations are counted through all folders and memories, so they also identify the folder.
GSM_Error setState(VXGammuSession &session, int location, GSM_SMS_State state)
{
    const auto there = std::make_unique<GSM_MultiSMSMessage>();
    there->Number = 1;
    there->SMS[0].Location = location;
    const GSM_Error found = session.call([&](auto *machine) { return GSM_GetSMS(machine, there.get()); });
    // Phones with AT commands have marked it as read by reading it; otherwise they could only replace it with another
    // message.
    if (found != ERR_NONE || there->SMS[0].State == state || !session.takesCards())
        return found;
    GSM_SMSMessage &part = there->SMS[0];
    part.Folder = 0;
    part.Location = location;
    part.State = state;
    return session.call([&](auto *machine) { return GSM_SetSMS(machine, &part); });
}

// What a phone records by itself has no zone; what arrived through the network has one.
VXGammuZone zoneOf(const VXGammuSession &session)
{
    return session.takesCards() ? VXGammuZone::Local : VXGammuZone::Told;
}

// Reads what is there now. Some phones return all parts together with each of them; these are taken once.
GSM_Error readPlaces(VXGammuSession &session, const QVariantList &locations, std::vector<GSM_SMSMessage> &parts)
{
    const auto there = std::make_unique<GSM_MultiSMSMessage>();
    for (const QVariant &location : locations) {
        *there = {};
        there->Number = 1;
        there->SMS[0].Location = VXLocationFromVariant(location);
        const GSM_Error code = session.call([&](auto *machine) { return GSM_GetSMS(machine, there.get()); });
        if (code != ERR_NONE)
            return code;
        for (const GSM_SMSMessage &part : std::span(there->SMS, size_t(there->Number))) {
            if (std::ranges::find(parts, part.Location, &GSM_SMSMessage::Location) == parts.end())
                parts.push_back(part);
        }
    }
    return ERR_NONE;
}

// Compared as far as the message contains the values: phones give the place of a deleted message to the next one that
// arrives.
bool isSameMessage(const QVariantMap &message, const QVariantMap &there, bool hasMemories)
{
    const auto isSame = [&](const QString &key) {
        const QVariant value = message.value(key);
        const bool isKnown = value.isValid() && !value.toString().isEmpty();
        return !isKnown || value == there.value(key);
    };
    const QDateTime date = message.value(u"date"_s).toDateTime();
    const QDateTime dateThere = there.value(u"date"_s).toDateTime();
    return (!hasMemories || message.value(u"memory"_s) == there.value(u"memory"_s)) && isSame(u"number"_s) &&
           isSame(u"text"_s) && isSame(u"data"_s) &&
           (!date.isValid() || date.toSecsSinceEpoch() == dateThere.toSecsSinceEpoch());
}

// Nothing if that message is at all of the places; otherwise the reason why it must not be touched.
VXGammuFailure checkPlaces(VXGammuSession &session, const QVariantMap &message, const QVariantList &locations)
{
    std::vector<GSM_SMSMessage> parts;
    if (const GSM_Error code = readPlaces(session, locations, parts); code != ERR_NONE)
        return VXGammuTrouble(cannotDelete(), code);
    const QVariantList there = VXMessagesFromGammu(parts, {}, zoneOf(session));
    // A phone that is a folder numbers its messages consecutively, and does not give the memory here.
    if (there.size() == 1 && isSameMessage(message, there.constFirst().toMap(), !session.takesCards()))
        return {};
    return VXGammuRefusal(u"Another message lies at %1 %2; read the messages again."_s,
                          {message.value(u"memory"_s).toString(), locations.constFirst().toString()});
}

// Writes the message as a new one, part by part; if a part fails, the parts written before it are removed.
VXGammuFailure add(VXGammuSession &session, VXGammuJob &job)
{
    const QVariantMap message = job.object().toMap();
    const QString text = message.value(u"text"_s).toString();
    if (const VXGammuFailure refused = VXGammuGate::checkMessage(text))
        return refused;
    const auto parts = std::make_unique<GSM_MultiSMSMessage>();
    GSM_Error code =
        session.call([&](GSM_StateMachine *) { return encode(message.value(u"number"_s).toString(), text, *parts); });
    trimParts(*parts);
    const bool isIncoming = message.value(u"direction"_s).toInt() != 0;
    const QDateTime date = message.value(u"date"_s).toDateTime();
    QVariantList locations;
    for (GSM_SMSMessage &part : std::span(parts->SMS, size_t(code == ERR_NONE ? parts->Number : 0))) {
        part.State = stateOf(message);
        part.Folder = isIncoming ? 1 : 2;
        part.PDU = isIncoming ? SMS_Deliver : SMS_Submit;
        if (date.isValid())
            part.DateTime = VXDateToGammu(date.toLocalTime());
        code = session.call([&](auto *machine) { return GSM_AddSMS(machine, &part); });
        if (code != ERR_NONE)
            break;
        locations.append(part.Location);
    }
    if (code == ERR_NONE) {
        job.setResult(QVariantMap{{u"locations"_s, locations}});
        return {};
    }
    for (qsizetype at = 0; at < locations.size(); ++at)
        session.call([&](auto *machine) { return GSM_DeleteSMS(machine, &parts->SMS[at]); });
    return VXGammuTrouble(cannotWrite(), code);
}

} // namespace

VXGammuFailure VXGammuMessages::read(VXGammuSession &session, VXGammuJob &job)
{
    VXGammuReading reading(job);
    const QStringList folders = folderNames(session);
    expectMessages(session, reading);
    std::vector<GSM_SMSMessage> parts;
    const GSM_Error code = readParts(session, job, reading, parts);
    for (const QVariant &message : VXMessagesFromGammu(parts, folders, zoneOf(session)))
        reading.addItem(message.toMap());
    const VXGammuFailure failure = reading.finish(u"The messages could not be read: %1"_s, code);
    QVariantMap result = job.result();
    result.insert(u"marksAsRead"_s, !session.takesCards());
    job.setResult(result);
    return failure;
}

VXGammuFailure VXGammuMessages::send(VXGammuSession &session, VXGammuJob &job)
{
    job.setResult(failed(u"refused"_s)); // until the phone is asked
    const QVariantMap message = job.object().toMap();
    const QString number = VXDialableNumber(message.value(u"number"_s).toString());
    const QString text = message.value(u"text"_s).toString();
    if (number.isNull())
        return VXGammuRefusal(u"\"%1\" is no phone number."_s, {message.value(u"number"_s).toString()});
    if (const VXGammuFailure refused = VXGammuGate::checkMessage(text))
        return refused;
    const auto parts = std::make_unique<GSM_MultiSMSMessage>();
    const GSM_Error code = session.call([&](GSM_StateMachine *) { return encode(number, text, *parts); });
    if (code != ERR_NONE)
        return VXGammuTrouble(cannotSend(), code);
    trimParts(*parts);
    if (encodedLength(*parts) < text.size())
        return VXGammuRefusal(u"The message is too long: it takes more than %1 parts."_s,
                              {QString::number(GSM_MAX_MULTI_SMS)});
    return sendParts(session, job, *parts);
}

VXGammuFailure VXGammuMessages::write(VXGammuSession &session, VXGammuJob &job)
{
    const QVariantMap message = job.object().toMap();
    const QVariantList locations = locationsOf(message);
    if (locations.isEmpty())
        return add(session, job);
    if (const VXGammuFailure failure = checkPlaces(session, message, locations))
        return failure;
    for (const QVariant &location : locations) {
        if (const GSM_Error code = setState(session, VXLocationFromVariant(location), stateOf(message));
            code != ERR_NONE)
            return VXGammuTrouble(cannotWrite(), code);
    }
    return {};
}

VXGammuFailure VXGammuMessages::remove(VXGammuSession &session, VXGammuJob &job)
{
    const QVariantMap message = job.object().toMap();
    const QVariantList locations = locationsOf(message);
    if (locations.isEmpty() || message.value(u"memory"_s).toString().isEmpty() ||
        std::ranges::any_of(locations, [](const QVariant &value) { return VXLocationFromVariant(value) == 0; }))
        return VXGammuRefusal(u"The message to delete must have a memory and a location."_s);
    if (const VXGammuFailure failure = checkPlaces(session, message, locations))
        return failure;
    for (const QVariant &location : locations) {
        GSM_SMSMessage part{};
        part.Location = VXLocationFromVariant(location);
        const GSM_Error code = job.isCancelled()
                                   ? ERR_CANCELED
                                   : session.call([&](auto *machine) { return GSM_DeleteSMS(machine, &part); });
        if (code != ERR_NONE)
            return VXGammuTrouble(cannotDelete(), code);
    }
    return {};
}

QVariantMap VXGammuMessages::reported(VXGammuSession &session, const GSM_SMSMessage &message)
{
    const bool isWhole = message.State != 0; // otherwise it only tells where the message is
    const auto read = std::make_unique<GSM_MultiSMSMessage>();
    read->Number = 1;
    read->SMS[0] = message;
    // The folder identifies the memory; what is read then has its place among all messages of the phone.
    if (!isWhole && session.call([&](auto *machine) { return GSM_GetSMS(machine, read.get()); }) != ERR_NONE)
        return {};
    const auto parts = std::span(read->SMS, size_t(read->Number));
    const QVariantList messages = VXMessagesFromGammu({parts.begin(), parts.end()}, {}, zoneOf(session));
    return messages.isEmpty() ? QVariantMap() : messages.first().toMap();
}
