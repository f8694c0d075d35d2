#include "VXGammuMessageMap.h"

#include "VXGammuText.h"
#include "VXMessagePartGroups.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Parts = std::vector<const GSM_SMSMessage *>;

bool isPart(const GSM_SMSMessage &message)
{
    return message.UDH.AllParts > 1 && message.UDH.PartNumber > 0;
}

int referenceOf(const GSM_SMSMessage &part)
{
    return part.UDH.ID16bit > 0 ? part.UDH.ID16bit : part.UDH.ID8bit;
}

// The reference is chosen by the sender: it means nothing without the number.
VXMessagePartPlace placeOf(const GSM_SMSMessage &part, VXGammuZone zone)
{
    return {.series = u"%1 %2 %3 %4 %5"_s.arg(part.Folder)
                          .arg(part.State == SMS_Sent || part.State == SMS_UnSent)
                          .arg(part.UDH.AllParts)
                          .arg(referenceOf(part))
                          .arg(VXTextFromGammu(part.Number)),
            .number = part.UDH.PartNumber,
            .count = part.UDH.AllParts,
            .date = VXDateFromGammu(part.DateTime, zone)};
}

std::vector<Parts> groupParts(const std::vector<GSM_SMSMessage> &parts, VXGammuZone zone)
{
    QList<VXMessagePartPlace> places;
    for (const GSM_SMSMessage &part : parts)
        places.append(isPart(part) ? placeOf(part, zone) : VXMessagePartPlace());
    std::vector<Parts> messages;
    for (const QList<qsizetype> &group : VXMessagePartGroups::of(places)) {
        Parts message;
        for (const qsizetype at : group)
            message.push_back(&parts[size_t(at)]);
        messages.push_back(message);
    }
    std::ranges::sort(messages, {}, [](const Parts &message) { return *std::ranges::min_element(message); });
    return messages;
}

bool isTextCoding(GSM_Coding_Type coding)
{
    return coding == SMS_Coding_Unicode_No_Compression || coding == SMS_Coding_Default_No_Compression;
}

// Others are ring tones, pictures and the like. Some drivers leave the header type unset if there is no header.
bool isText(const GSM_SMSMessage &part)
{
    return isTextCoding(part.Coding) && part.UDH.Type <= UDH_ConcatenatedMessages16bit;
}

QByteArray rawBytes(const GSM_SMSMessage &part)
{
    const qsizetype length = part.Length * (isTextCoding(part.Coding) ? 2 : 1);
    return {reinterpret_cast<const char *>(part.Text), std::clamp<qsizetype>(length, 0, sizeof part.Text)};
}

QString stateText(GSM_SMS_State state)
{
    switch (state) {
    case SMS_Sent:
        return u"sent"_s;
    case SMS_UnSent:
        return u"unsent"_s;
    case SMS_Read:
        return u"read"_s;
    case SMS_UnRead:
        return u"unread"_s;
    }
    return {};
}

// Adds the contents that the parts have, in the order of the parts.
void addContents(QVariantMap &message, const Parts &parts)
{
    const bool isDecodable = std::ranges::all_of(parts, [](const auto *part) { return isText(*part); });
    QString text;
    QByteArray data;
    for (const GSM_SMSMessage *part : parts) {
        if (isDecodable)
            text += VXTextFromGammu(part->Text);
        else
            data += rawBytes(*part);
    }
    message.insert(u"isDecodable"_s, isDecodable);
    if (isDecodable)
        return static_cast<void>(message.insert(u"text"_s, text));
    message.insert(u"data"_s, data);
    message.insert(u"coding"_s, QString::fromUtf8(GSM_SMSCodingToString(parts.front()->Coding)));
}

void addPlace(QVariantMap &message, const Parts &parts, const QStringList &folders)
{
    QVariantList locations;
    for (const GSM_SMSMessage *part : parts)
        locations.append(part->Location);
    const GSM_SMSMessage &first = *parts.front();
    message.insert(u"locations"_s, locations);
    message.insert(u"memory"_s, QString::fromLatin1(GSM_MemoryTypeToString(first.Memory)));
    message.insert(u"isInbox"_s, first.InboxFolder != 0);
    if (const QString folder = folders.value(first.Folder - 1); !folder.isEmpty())
        message.insert(u"folder"_s, folder);
}

QVariantMap messageFromParts(const Parts &parts, const QStringList &folders, VXGammuZone zone)
{
    const GSM_SMSMessage &first = *parts.front();
    const int expected = isPart(first) ? first.UDH.AllParts : 1;
    QVariantMap message{{u"kind"_s, first.PDU == SMS_Status_Report ? u"report"_s : u"message"_s},
                        {u"state"_s, stateText(first.State)},
                        {u"partCount"_s, expected},
                        {u"isComplete"_s, int(parts.size()) == expected}};
    if (parts.size() == 1 && expected > 1) { // for those who will join it with the rest
        message.insert(u"reference"_s, referenceOf(first));
        message.insert(u"partNumber"_s, first.UDH.PartNumber);
    }
    VXAddParties(message, first.State != SMS_Sent && first.State != SMS_UnSent, VXTextFromGammu(first.Number));
    if (const QDateTime date = VXDateFromGammu(first.DateTime, zone); date.isValid())
        message.insert(u"date"_s, date);
    if (const QString centre = VXTextFromGammu(first.SMSC.Number); !centre.isEmpty())
        message.insert(u"serviceCentre"_s, centre);
    addPlace(message, parts, folders);
    addContents(message, parts);
    return message;
}

} // namespace

QVariantList VXMessagesFromGammu(const std::vector<GSM_SMSMessage> &parts, const QStringList &folders, VXGammuZone zone)
{
    QVariantList messages;
    for (const Parts &message : groupParts(parts, zone))
        messages.append(messageFromParts(message, folders, zone));
    return messages;
}
