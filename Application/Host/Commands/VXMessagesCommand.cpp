#include "MessageDataConstants.h"
#include "VXDeviceNamed.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXInputFile.h"
#include "VXMessageImport.h"
#include "VXMessageStore.h"
#include "VXOutboxReport.h"
#include "VXOutgoingMessage.h"
#include "VXPartyNamed.h"
#include "VXPhonebookRecord.h"
#include "VXPluginSession.h"
#include "VXReadableText.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Message = VXManagedObjectPtr;

constexpr qsizetype usualLimit = 50;
constexpr qsizetype longestLine = 60; // of a text in a table

/** What a verb works with. */
struct Desk
{
    VXHostContext &host;
    const VXMessageStore &store;
    VXManagedObjectContext &context;

    QString operand(qsizetype index) const { return host.options.operand(index); }
    int fail(const QString &text) const { return host.output.fail(text); }
    int fail(const VXError &error) const { return fail(error.localizedDescription()); }
};

// -- Showing

QString stateWord(const Message &message)
{
    static const QStringList words{u"unsent"_s, u"unread"_s, u"sent"_s, u"read"_s};
    const int state = message->valueForKey(u"state"_s).toInt();
    return words.value(state, QString::number(state));
}

QString uriOf(const VXManagedObjectPtr &object)
{
    return object->objectID().uriRepresentation().toString();
}

QString shortIDOf(const Message &message)
{
    return u'p' + QString::number(message->objectID().number());
}

// What people call the other party.
QString whoOf(const Message &message)
{
    return VXDisplayStringForContacts(VXPhonebookRecord::otherParty(*message));
}

QString localText(const QDateTime &date)
{
    return date.isValid() ? date.toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s) : QString();
}

QJsonObject jsonOf(const Message &message)
{
    QVariantMap values = VXMessageRecord(QVariant::fromValue(message)).map();
    values.insert(u"state"_s, stateWord(message));
    values.insert(u"id"_s, shortIDOf(message));
    values.insert(u"uri"_s, uriOf(message));
    values.insert(u"who"_s, whoOf(message));
    values.insert(u"pending"_s, message->valueForKey(u"pending"_s));
    const auto folder = message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>();
    values.insert(u"folder"_s, folder ? VXMessageStore::folderTitle(folder) : QString());
    return VXJSONFromVariant(values).toObject();
}

int answer(const Desk &desk, VXFetchRequest request)
{
    bool isNumber = true;
    const QString limit = desk.host.options.value(u"limit"_s);
    request.limit = limit.isNull() ? usualLimit : limit.toLongLong(&isNumber);
    if (!isNumber || request.limit < 0)
        return desk.host.output.failUsage(u"--limit takes a number; 0 is no limit"_s,
                                          VXHostUsage(desk.host.options.command()));
    VXError error;
    const auto found = desk.context.executeFetchRequest(request, &error);
    if (!found)
        return desk.fail(error);
    QJsonArray json;
    QList<QStringList> rows{{u"DATE"_s, u"STATE"_s, u"FROM OR TO"_s, u"TEXT"_s, u"ID"_s}};
    for (const Message &message : *found) {
        const VXMessageRecord record(QVariant::fromValue(message));
        json.append(jsonOf(message));
        const QString text = record.text.simplified();
        rows.append({localText(record.date), stateWord(message),
                     (record.isIncoming() ? u"< "_s : u"> "_s) + whoOf(message),
                     text.size() > longestLine ? text.first(longestLine - 1) + u'…' : text, shortIDOf(message)});
    }
    desk.host.output.answer(json.isEmpty() ? u"There are no messages.\n"_s : VXTextTable(rows), json);
    return VXHostOutput::Done;
}

// -- Verbs

int folders(const Desk &desk)
{
    VXError error;
    const auto all = desk.store.folders(desk.context, &error);
    if (!all)
        return desk.fail(error);
    QJsonArray json;
    QList<QStringList> rows{{u"FOLDER"_s, u"MESSAGES"_s, u"URI"_s}};
    for (const VXManagedObjectPtr &folder : *all) {
        const auto request = desk.store.messagesOfFolder(folder, &error);
        const auto count = request ? desk.context.countForFetchRequest(*request, &error) : std::nullopt;
        if (!count)
            return desk.fail(error);
        const QString title = VXMessageStore::folderTitle(folder);
        rows.append({title, QString::number(*count), uriOf(folder)});
        json.append(QJsonObject{{u"title"_s, title}, {u"count"_s, *count}, {u"uri"_s, uriOf(folder)}});
    }
    desk.host.output.answer(VXTextTable(rows), json);
    return VXHostOutput::Done;
}

// Also that of a phone by its name.
VXManagedObjectPtr folderFor(const Desk &desk, const QString &text)
{
    VXManagedObjectPtr folder = desk.store.folderForText(text, desk.context);
    if (const QUrl device = folder ? QUrl() : VXDeviceWithName(text); !device.isEmpty())
        folder = VXFetchDeviceFolder(device, &desk.context);
    if (!folder)
        desk.fail(u"there is no folder \"%1\"; \"vornix messages folders\" shows those there are"_s.arg(text));
    return folder;
}

int list(const Desk &desk)
{
    const VXManagedObjectPtr folder = folderFor(desk, desk.operand(1));
    if (!folder)
        return VXHostOutput::Failed;
    VXError error;
    const auto request = desk.store.messagesOfFolder(folder, &error);
    return request ? answer(desk, *request) : desk.fail(error);
}

int conversation(const Desk &desk)
{
    const QStringList keys = VXConversationsWith(desk.store, desk.context, desk.operand(1));
    return keys.isEmpty() ? desk.fail(u"there are no messages with \"%1\""_s.arg(desk.operand(1)))
                          : answer(desk, desk.store.messagesOfConversations(keys));
}

// By its ID as "list" shows it, or its URI.
Message messageFor(const Desk &desk, const QString &text)
{
    const VXPersistentStoreCoordinator &store = *desk.store.coordinator();
    bool isNumber = false;
    const qint64 number = text.startsWith(u'p') ? text.sliced(1).toLongLong(&isNumber) : 0;
    const VXManagedObjectID known = isNumber
                                        ? VXManagedObjectID(*store.model().entityForName(VXMessageStore::entityName),
                                                            store.persistentStores().constFirst()->identity(), number)
                                        : store.objectIDForURIRepresentation(QUrl(text));
    const bool isMessage = !known.isNull() && known.entity().name() == VXMessageStore::entityName;
    Message message = isMessage ? desk.context.existingObjectWithID(known) : Message();
    if (!message)
        desk.fail(u"there is no message \"%1\""_s.arg(text));
    return message;
}

int show(const Desk &desk, const Message &message)
{
    const QJsonObject json = jsonOf(message);
    desk.host.output.answer(VXReadableText(json), json);
    return VXHostOutput::Done;
}

int read(const Desk &desk)
{
    const Message message = messageFor(desk, desk.operand(1));
    if (!message)
        return VXHostOutput::Failed;
    VXError error;
    VXMarkMessageAsRead(message); // others than those that came in are shown all the same
    return !desk.context.hasChanges() || desk.context.save(&error) ? show(desk, message) : desk.fail(error);
}

int move(const Desk &desk)
{
    const Message message = messageFor(desk, desk.operand(1));
    const VXManagedObjectPtr folder = message ? folderFor(desk, desk.operand(2)) : VXManagedObjectPtr();
    if (!folder)
        return VXHostOutput::Failed;
    QVariantMap info;
    if (!VXMoveMessageToFolder(message, folder, desk.host.options.isSet(u"copy"_s), &info))
        return desk.fail(u"the message is in that folder already"_s);
    VXError error;
    if (!desk.context.save(&error))
        return desk.fail(error);
    return show(desk, info.value(info.contains(u"duplicate"_s) ? u"duplicate"_s : u"message"_s).value<Message>());
}

// The phone to send by: that of --device, else the preferred one, else the one added last. Null, told, for none.
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
    VXOutboxEntry untried; // it may have been tried by now
    untried.number = *number;
    return VXAnswerTries(desk.host, *outbox, {untried});
}

int import(const Desk &desk)
{
    QFile file(desk.operand(1));
    QString reason;
    if (!VXOpenInputFile(file, &reason))
        return desk.fail(u"%1 can not be read: %2"_s.arg(desk.operand(1), reason));
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

struct Verb
{
    QString name;
    QString operands; // it needs
    qsizetype count;
    int (*run)(const Desk &desk);
    QStringList options = {};
};

const Verb verbs[] = {
    {u"folders"_s, {}, 0, folders},
    {u"list"_s, u"FOLDER"_s, 1, list, {u"limit"_s}},
    {u"conversation"_s, u"PERSON"_s, 1, conversation, {u"limit"_s}},
    {u"send"_s, u"TO and TEXT"_s, 2, send, {u"device"_s}},
    {u"read"_s, u"ID"_s, 1, read},
    {u"move"_s, u"ID and FOLDER"_s, 2, move, {u"copy"_s}},
    {u"import"_s, u"FILE"_s, 1, import},
};

// What is wrong with the operands and options for the verb; null when nothing is.
QString mistake(const VXHostOptions &options, const Verb &verb)
{
    const QStringList operands = options.operands().mid(1);
    if (operands.size() < verb.count || operands.contains(QString(u""_s)))
        return u"%1 needs %2"_s.arg(verb.name, verb.operands);
    if (operands.size() > verb.count)
        return u"%1 takes no \"%2\""_s.arg(verb.name, operands.last());
    for (const QString &option : {u"limit"_s, u"device"_s, u"copy"_s}) {
        if (options.isSet(option) && !verb.options.contains(option))
            return u"--%1 does not go with %2"_s.arg(option, verb.name);
    }
    return {};
}

int runMessages(VXHostContext &host)
{
    const QString name = host.options.operands().value(0, verbs[0].name);
    const Verb &verb = *std::ranges::find(verbs, name, &Verb::name);
    if (const QString wrong = mistake(host.options, verb); !wrong.isNull())
        return host.output.failUsage(wrong, VXHostUsage(host.options.command()));
    return VXRunWithPlugins(host, [&](VXPluginManager &) {
        const std::optional<VXMessageStore> store = VXMessageStore::sharedStore();
        if (!store)
            return host.output.fail(u"there is no store of messages; \"vornix log\" may tell why"_s);
        VXManagedObjectContext context(store->coordinator());
        return verb.run({.host = host, .store = *store, .context = context});
    });
}

} // namespace

VXHostCommand VXMessagesCommand()
{
    return {
        .name = u"messages"_s,
        .summary = u"Show, send, move and import text messages"_s,
        .synopsis = u"[folders|list|conversation|send|read|move|import] [OPERAND]..."_s,
        .details =
            u"\"folders\" shows the folders. \"list FOLDER\" shows what is in one, newest first: FOLDER is inbox, "
            u"sent, drafts, trash, user, the URL or name of a phone, or a folder's name or URI. \"conversation "
            u"PERSON\" "
            "shows the messages with one other party, whose number, address or name, or the beginning of it, PERSON "
            "is.\n"
            "\"send TO TEXT\" puts a message into the outbox and tells what came of the first try; TO is a number, or "
            "the "
            "name of a contact who has one, or one mobile one. What the phone did "
            "not take is tried again while vornix runs, and \"vornix outbox\" shows it. Without --device it goes by "
            "the phone in the user default \"messages.device\", else by the one added last.\n"
            "\"read ID\" shows a message and marks it as read. \"move ID FOLDER\" moves it; one that lies on a phone "
            "is "
            "removed there by the next \"vornix sync\". ID is as \"list\" shows it, or the message's URI. \"import "
            "FILE\" "
            "reads a backup of gammu (.smsbackup) or the XML "
            "that backup programs on Android write (\"-\" is standard input); messages that are there already are left "
            "out. It ends with status 1 when one could not be read, though the others are taken."_s,
        .options = {{.name = u"limit"_s,
                     .placeholder = u"N"_s,
                     .summary = u"Show so many at most; 0: all (list, conversation; 50 without)"_s},
                    {.name = u"device"_s,
                     .placeholder = u"URL"_s,
                     .summary = u"The phone to send by, or its name (send)"_s},
                    {.name = u"copy"_s, .placeholder = {}, .summary = u"Leave the message where it is too (move)"_s}},
        .minimumOperands = 0,
        .maximumOperands = 3,
        .firstOperands = {u"folders"_s, u"list"_s, u"conversation"_s, u"send"_s, u"read"_s, u"move"_s, u"import"_s},
        .run = runMessages};
}
