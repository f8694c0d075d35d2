#include "VXConversationReader.h"

#include "MessageDataConstants.h"
#include "VXDesktopText.h"
#include "VXMessageText.h"
#include "VXMethodLog.h"
#include "VXRowDelegate.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QScopeGuard>
#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Operator = VXPredicate::Operator;

constexpr qsizetype portion = 200;
constexpr qint64 tellingTime = 30; // ms between reports

VXPredicate isAmong(const QString &key, const QSet<QString> &texts)
{
    return VXPredicate::comparison(key, Operator::In, QVariantList(texts.cbegin(), texts.cend()));
}

VXPredicate isShown()
{
    return VXPredicate::comparison(u"pending"_s, Operator::NotEqual, int(VXPendingChange::Remove));
}

QDateTime dateOf(const VXManagedObjectPtr &message)
{
    return message->valueForKey(u"date"_s).toDateTime();
}

VXListRow rowOf(const VXManagedObjectPtr &message)
{
    VXListRow row = VXRowOfMessage(message);
    row.objectID = message->objectID();
    return row;
}

} // namespace

QString VXConversationReader::conversationOf(const VXListRow &row)
{
    return row.value.value<VXRowContents>().data.value<VXShownMessage>().conversation;
}

void VXConversationReader::read(const Wanted &wanted, const std::function<bool()> &isWanted,
                                const std::function<void(const Answer &)> &tell)
{
    VXManagedObjectContext context(_store.coordinator());
    if (wanted.isForChanged || !(_scanned == wanted.folder))
        _scan.forget();
    _scanned = wanted.folder;
    if (wanted.text.isEmpty())
        return tell(newest(wanted.count, context));
    const bool isOfFolder = !wanted.folder.isNull();
    _scan.begin(context, conditionsFor(wanted, context), wanted.text,
                isOfFolder ? VXMessageScan::Finds::Messages : VXMessageScan::Finds::Conversations);
    const auto end = qScopeGuard([this] { _scan.end(); });
    Answer answer;
    const auto send = [&] {
        Answer sent = answer;
        if (!isOfFolder)
            sent.rows = withUnread(answer.rows, context);
        tell(sent);
    };
    QElapsedTimer sinceTold;
    sinceTold.start();
    qsizetype told = -1; // rows; an empty result is reported too
    while (!answer.isAll && answer.rows.size() < wanted.count) {
        if (!isWanted())
            return;
        VXError error;
        const auto found = _scan.next(&error);
        if (!found) {
            VXLogMethod(VXLogError, "read", error.description());
            break;
        }
        const qsizetype room = wanted.count - answer.rows.size();
        for (const VXManagedObjectPtr &message : found->mid(0, room))
            answer.rows.append(rowOf(message));
        answer.isAll = _scan.isAtEnd() && found->size() <= room;
        const bool isMore = answer.rows.size() > told && answer.rows.size() < wanted.count && !answer.isAll;
        if (isMore && sinceTold.hasExpired(tellingTime)) {
            send();
            told = answer.rows.size();
            sinceTold.start();
        }
    }
    answer.isLast = true;
    send();
}

QList<VXManagedObjectPtr> VXConversationReader::foldersOfConversations(VXManagedObjectContext &context) const
{
    Messages folders = _store.folders(context).value_or(Messages());
    folders.removeIf([](const auto &folder) { return VXMessageStore::folderTitle(folder) == VXTrashFolder; });
    return folders;
}

QList<VXPredicate> VXConversationReader::conditionsFor(const Wanted &wanted, VXManagedObjectContext &context) const
{
    if (!wanted.folder.isNull()) {
        const VXManagedObjectPtr folder = context.existingObjectWithID(wanted.folder);
        return folder ? _store.conditionsOfFolder(folder).value_or(QList<VXPredicate>()) : QList<VXPredicate>();
    }
    QList<VXPredicate> conditions;
    for (const VXManagedObjectPtr &folder : foldersOfConversations(context))
        conditions.append(VXPredicate::comparison(u"folder"_s, Operator::Equal, QVariant::fromValue(folder)));
    return conditions;
}

VXConversationReader::Answer VXConversationReader::newest(qsizetype count, VXManagedObjectContext &context) const
{
    Answer answer{.isAll = true, .isLast = true};
    Messages found;
    for (const VXManagedObjectPtr &folder : foldersOfConversations(context)) {
        if (!addFolder(folder, count, context, &found))
            answer.isAll = false;
    }
    std::ranges::stable_sort(found, std::ranges::greater(), dateOf);
    QSet<QString> known;
    for (const VXManagedObjectPtr &message : std::as_const(found)) {
        const QString conversation = message->valueForKey(u"conversation"_s).toString();
        if (known.contains(conversation) || answer.rows.size() == count)
            continue;
        known.insert(conversation);
        answer.rows.append(rowOf(message));
    }
    answer.rows = withUnread(answer.rows, context);
    return answer;
}

// Starts with its newest message, by the index of the folders' dates; conversations found before are omitted. False if
// there is more.
bool VXConversationReader::addFolder(const VXManagedObjectPtr &folder, qsizetype count, VXManagedObjectContext &context,
                                     Messages *found) const
{
    QSet<QString> known;
    while (known.size() < count) {
        VXFetchRequest request(*_store.coordinator()->model().entityForName(VXMessageStore::entityName));
        QList<VXPredicate> conditions{
            VXPredicate::comparison(u"folder"_s, Operator::Equal, QVariant::fromValue(folder)), isShown()};
        if (!known.isEmpty())
            conditions.append(VXPredicate::negationOf(isAmong(u"conversation"_s, known)));
        request.predicate = VXPredicate::allOf(conditions);
        request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
        request.limit = portion;
        const auto messages = context.executeFetchRequest(request);
        if (!messages || messages->isEmpty())
            return true;
        for (const VXManagedObjectPtr &message : *messages) {
            const QString conversation = message->valueForKey(u"conversation"_s).toString();
            if (!known.contains(conversation)) {
                known.insert(conversation);
                found->append(message);
            }
        }
        if (messages->size() < request.limit)
            return true;
    }
    return false;
}

// The newest message of a conversation may be an outgoing one.
QList<VXListRow> VXConversationReader::withUnread(QList<VXListRow> rows, VXManagedObjectContext &context) const
{
    QSet<QString> conversations;
    for (const VXListRow &row : std::as_const(rows))
        conversations.insert(conversationOf(row));
    VXFetchRequest request(*_store.coordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = VXPredicate::allOf(
        {isAmong(u"conversation"_s, conversations),
         VXPredicate::comparison(u"state"_s, Operator::Equal, int(VXMessageRecord::State::Unread)), isShown()});
    const auto found = context.executeFetchRequest(request);
    if (!found)
        return rows;
    QHash<QString, int> unread;
    for (const VXManagedObjectPtr &message : *found) {
        if (!VXIsInTrash(message))
            ++unread[message->valueForKey(u"conversation"_s).toString()];
    }
    for (VXListRow &row : rows) {
        const int count = unread.value(conversationOf(row));
        if (count == 0)
            continue;
        auto contents = row.value.value<VXRowContents>();
        contents.isStrong = true;
        contents.mark = QLocale().toString(count);
        contents.markTone = VXRowContents::Tone::Accent;
        row.value = QVariant::fromValue(contents);
        row.text = VXText("%1 unread", "%1 unread", count) + u", "_s + row.text;
    }
    return rows;
}
