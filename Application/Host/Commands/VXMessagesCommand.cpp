#include "MessageDataConstants.h"
#include "VXDeviceNamed.h"
#include "VXDevicePlugin.h"
#include "VXErrorText.h"
#include "VXHostCommands.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXInputFile.h"
#include "VXLimitOption.h"
#include "VXMessageDesk.h"
#include "VXMessageImport.h"
#include "VXOutboxReport.h"
#include "VXOutgoingMessage.h"
#include "VXPartyNamed.h"
#include "VXPhonebookRecord.h"
#include "VXPluginSession.h"
#include "VXReadableText.h"
#include "VXShownDate.h"
#include "VXStoreWorkLock.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

using Message = VXManagedObjectPtr;

constexpr qsizetype usualLimit = 50;

using Desk = VXMessageDesk;

// -- Showing

QString stateWord(const Message &message)
{
    static const QStringList words{u"unsent"_s, u"unread"_s, u"sent"_s, u"read"_s};
    const int state = message->valueForKey(u"state"_s).toInt();
    return words.value(state, QString::number(state));
}

QString shortIDOf(const Message &message)
{
    return u'p' + QString::number(message->objectID().number());
}

// Name of the other party for people.
QString whoOf(const Message &message)
{
    return VXDisplayStringForContacts(VXPhonebookRecord::otherParty(*message));
}

QJsonObject jsonOf(const Message &message)
{
    QVariantMap values = VXMessageRecord(QVariant::fromValue(message)).map();
    values.insert(u"state"_s, stateWord(message));
    values.insert(u"id"_s, shortIDOf(message));
    values.insert(u"uri"_s, VXURIOfObject(message));
    values.insert(u"who"_s, whoOf(message));
    values.insert(u"pending"_s, message->valueForKey(u"pending"_s));
    const auto folder = message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>();
    values.insert(u"folder"_s, folder ? VXMessageStore::folderTitle(folder) : QString());
    QJsonObject json = VXJSONFromVariant(values).toObject();
    json.insert(u"date"_s, VXReportedDate(values.value(u"date"_s).toDateTime()));
    return json;
}

using Newest = std::function<std::optional<QList<Message>>(qsizetype limit, VXError *error)>;

int answer(const Desk &desk, const Newest &newest)
{
    VXError error;
    const auto found = newest(VXLimitOption(desk.host.options, usualLimit), &error);
    if (!found)
        return desk.fail(error);
    QJsonArray json;
    QList<QStringList> rows{{u"DATE"_s, u"STATE"_s, u"FROM OR TO"_s, u"TEXT"_s, u"ID"_s}};
    for (const Message &message : *found) {
        const VXMessageRecord record(QVariant::fromValue(message));
        json.append(jsonOf(message));
        rows.append({VXShownDate(record.date), stateWord(message),
                     (record.isIncoming() ? u"< "_s : u"> "_s) + whoOf(message), record.text.simplified(),
                     shortIDOf(message)});
    }
    desk.host.output.answer(json.isEmpty() ? u"There are no messages.\n"_s
                                           : VXFittingTable(desk.host.output, rows, {u"DATE"_s, u"STATE"_s}, u"TEXT"_s),
                            json);
    return VXHostOutput::Done;
}

// -- Verbs

int list(const Desk &desk)
{
    const VXManagedObjectPtr folder = desk.folderNamed(desk.operand(1));
    if (!folder)
        return VXHostOutput::Failed;
    return answer(desk,
                  [&](qsizetype limit, VXError *error) { return desk.store.newestOfFolder(folder, limit, error); });
}

int conversation(const Desk &desk)
{
    const QStringList keys = VXConversationsWith(desk.host, desk.store, desk.context, desk.operand(1));
    return keys.isEmpty() ? static_cast<int>(VXHostOutput::Failed) : answer(desk, [&](qsizetype limit, VXError *error) {
        return desk.store.newestOfConversations(keys, limit, desk.context, error);
    });
}

int show(const Desk &desk, const Message &message)
{
    const QJsonObject json = jsonOf(message);
    QJsonObject readable = json;
    readable.insert(u"date"_s, VXShownDate(message->valueForKey(u"date"_s).toDateTime()));
    desk.host.output.answer(VXReadableText(readable), json);
    return VXHostOutput::Done;
}

int read(const Desk &desk)
{
    const Message message = desk.messageNamed(desk.operand(1));
    if (!message)
        return VXHostOutput::Failed;
    VXError error;
    VXMarkMessageAsRead(message); // messages that are not incoming are shown nevertheless
    return !desk.context.hasChanges() || desk.context.save(&error) ? show(desk, message) : desk.fail(error);
}

// The phone for which messages moved to the folder would wait in vain. Null if there is none.
QString unknownPhoneOf(const VXManagedObjectPtr &folder)
{
    const bool isSmart = folder->entity().name() == "VXSmartDeviceFolder"_L1;
    const auto target = isSmart ? folder->valueForKey(u"deviceFolder"_s).value<VXManagedObjectPtr>() : folder;
    const QString phone = target && target->entity().name() == "VXDeviceFolder"_L1
                              ? target->valueForKey(u"url_search"_s).toString()
                              : QString();
    const bool isKnown = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()).contains(QUrl(phone));
    return phone.isEmpty() || isKnown ? QString() : phone;
}

int move(const Desk &desk)
{
    const Message message = desk.messageNamed(desk.operand(1));
    const VXManagedObjectPtr folder = message ? desk.folderNamed(desk.operand(2)) : VXManagedObjectPtr();
    if (!folder)
        return VXHostOutput::Failed;
    if (const QString phone = unknownPhoneOf(folder); !phone.isNull())
        return desk.fail(
            u"the phone of that folder, %1, is not known any more: nothing would be put on it"_s.arg(phone));
    QVariantMap info;
    if (!VXMoveMessageToFolder(message, folder, desk.host.options.isSet(u"copy"_s), &info))
        return desk.fail(u"the message is in that folder already"_s);
    VXError error;
    if (!desk.context.save(&error))
        return desk.fail(error);
    return show(desk, info.value(info.contains(u"duplicate"_s) ? u"duplicate"_s : u"message"_s).value<Message>());
}

// The phone to send with: that of --device, else the preferred one, else the one added last. Null, with a message to
// the user, if there is none.
QUrl sendingDevice(const Desk &desk)
{
    if (const QString named = desk.host.options.value(u"device"_s); !named.isNull())
        return VXDeviceNamed(desk.host, named);
    const QUrl preferred = VXOutgoingMessage::preferredDevice();
    if (preferred.isEmpty())
        desk.fail(u"there is no phone to send by; \"vornix devices add\" adds one"_s);
    return preferred;
}

int send(const Desk &desk)
{
    const QString receiver = VXReceiverNamed(desk.host, desk.operand(1));
    const QUrl device = receiver.isNull() ? QUrl() : sendingDevice(desk);
    if (device.isEmpty())
        return VXHostOutput::Failed;
    const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
    if (!outbox)
        return desk.fail(u"there is no outbox; \"vornix log\" may tell why"_s);
    VXError error;
    const auto number = VXOutgoingMessage::send(receiver, desk.operand(2), device, desk.store, *outbox, &error);
    if (!number)
        return desk.fail(error);
    VXOutboxEntry untried; // it may have been tried in the meantime
    untried.number = *number;
    return VXAnswerTries(desk.host, *outbox, {untried});
}

int import(const Desk &desk)
{
    QFile file(desk.operand(1));
    QString reason;
    if (!VXOpenInputFile(file, &reason))
        return desk.fail(u"%1 cannot be read: %2"_s.arg(desk.operand(1), reason));
    VXMessageImport import(desk.store);
    VXError error;
    if (!import.run(file, desk.operand(1), &error))
        return desk.fail(error);
    for (const QString &problem : import.problems())
        desk.host.output.note(problem);
    desk.host.output.answer(
        u"Imported %1 messages; %2 were there already, %3 could not be read.\n"_s.arg(import.addedCount())
            .arg(import.knownCount())
            .arg(import.problems().size()),
        QJsonObject{{u"added"_s, import.addedCount()},
                    {u"known"_s, import.knownCount()},
                    {u"problems"_s, QJsonArray::fromStringList(import.problems())}});
    return import.problems().isEmpty() ? VXHostOutput::Done : VXHostOutput::Failed;
}

struct Verb : VXHostVerb
{
    int (*run)(const Desk &desk);
    bool isChange = false; // true if it changes what it has looked up: no other process may change that in between
};

const QStringList messages{u"messages"_s}; // kinds of words
const QStringList folderNames{u"message-folders"_s};

const Verb verbs[] = {
    {{u"folders"_s}, VXShowMessageFolders},
    {{u"list"_s, u"FOLDER"_s, 1, 1, folderNames}, list},
    {{u"conversation"_s, u"PERSON"_s, 1, 1}, conversation},
    {{u"send"_s, u"TO TEXT"_s, 2, 2}, send},
    {{u"read"_s, u"ID"_s, 1, 1, messages}, read, true},
    {{u"move"_s, u"ID FOLDER"_s, 2, 2, messages + folderNames}, move, true},
    {{u"delete"_s, u"ID..."_s, 1, VXHostVerb::unlimited, messages}, VXDeleteMessages, true},
    {{u"empty-trash"_s}, VXEmptyMessageTrash},
    {{u"add-folder"_s, u"NAME"_s, 1, 1}, VXAddMessageFolder},
    {{u"rename-folder"_s, u"FOLDER NAME"_s, 2, 2, folderNames}, VXRenameMessageFolder, true},
    {{u"remove-folder"_s, u"FOLDER"_s, 1, 1, folderNames}, VXRemoveMessageFolder, true},
    {{u"import"_s, u"FILE"_s, 1, 1, {u"files"_s}}, import},
};

int runMessages(VXHostContext &host)
{
    const Verb &verb = host.options.verbIn(verbs);
    return VXRunWithPlugins(host, [&](VXPluginManager &) {
        const std::optional<VXMessageStore> store = VXMessageStore::sharedStore();
        if (!store)
            return host.output.fail(u"there is no store of messages; \"vornix log\" may tell why"_s);
        VXError error;
        std::optional<VXStoreWorkLock> saving;
        if (verb.isChange && !saving.emplace(*store->coordinator(), VXStoreWorkLock::savingName).isHeld(&error))
            return host.output.fail(VXErrorText(error));
        VXManagedObjectContext context(store->coordinator());
        return verb.run({.host = host, .store = *store, .context = context});
    });
}

} // namespace

VXHostCommand VXMessagesCommand()
{
    return {
        .name = u"messages"_s,
        .summary = u"Show, send, file, delete and import text messages"_s,
        .otherNames = {u"sms"_s, u"texts"_s},
        .details =
            u"\"folders\" shows the folders. \"list FOLDER\" shows what is in one, newest first: FOLDER is inbox, "
            u"sent, "
            "drafts, trash, user, the URL or name of a phone, or a folder's name or URI. \"conversation PERSON\" shows "
            "the "
            "messages with one other party, whose number, address or name, or the beginning of it, PERSON is.\n"
            "\"send TO TEXT\" puts a message into the outbox and tells what came of the first try; TO is a number, or "
            "the "
            "name of a contact who has one, or one mobile one. What the phone did not take is tried again while vornix "
            "runs, and \"vornix outbox\" shows it. Without --device it goes by the phone in the user default "
            "\"messages.device\", else by the one added last.\n"
            "\"read ID\" shows a message and marks it as read. \"move ID FOLDER\" moves it; one that lies on a phone "
            "is "
            "removed there by the next \"vornix sync\". ID is as \"list\" shows it, or the message's URI. \"delete "
            "ID...\" "
            "puts messages into the trash, from where \"move\" takes them out again; \"empty-trash\", and --for-good, "
            "delete them without a way back.\n"
            "\"add-folder NAME\" makes a folder of your own. With --where it is a smart one, which shows those "
            "messages "
            "of a phone that meet the condition (as \"vornix store list messages VXMessage --where\" takes it), and "
            "holds "
            "none itself. \"rename-folder FOLDER NAME\" and \"remove-folder FOLDER\" are for these; what was in a "
            "folder "
            "that is removed is in the trash then.\n"
            "\"import FILE\" reads a backup of gammu (.smsbackup) or the XML that backup programs on Android write "
            "(\"-\" "
            "is standard input); messages that are there already are left out. It ends with status 1 when one could "
            "not "
            "be read, though the others are taken."_s,
        .options = {{.name = u"limit"_s,
                     .placeholder = u"N"_s,
                     .summary = u"Show so many at most, 50 without; 0: all"_s,
                     .verbs = {u"list"_s, u"conversation"_s}},
                    {.name = u"device"_s,
                     .placeholder = u"URL"_s,
                     .summary = u"The phone to send by, or whose messages a smart folder shows; or its name"_s,
                     .verbs = {u"send"_s, u"add-folder"_s},
                     .valueKind = u"devices"_s},
                    {.name = u"copy"_s,
                     .placeholder = {},
                     .summary = u"Leave the message where it is too"_s,
                     .verbs = {u"move"_s}},
                    {.name = u"for-good"_s,
                     .placeholder = {},
                     .summary = u"Past the trash, without a way back"_s,
                     .verbs = {u"delete"_s}},
                    {.name = u"where"_s,
                     .placeholder = u"CONDITION"_s,
                     .summary = u"Which messages it shows, as 'text CONTAINS[cd] \"code\"'"_s,
                     .verbs = {u"add-folder"_s}}},
        .verbs = VXHostVerbsOf(verbs),
        .run = runMessages};
}
