#include "VXConversationList.h"

#include "MessageDataConstants.h"
#include "VXDesktopText.h"
#include "VXMessageText.h"
#include "VXRowDelegate.h"
#include "VXStoreListModel.h"
#include "VXStoreWatch.h"

#include <QtCore/QSet>
#include <QtCore/QThreadPool>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Operator = VXPredicate::Operator;

constexpr qsizetype portion = 100;

VXPredicate compare(const QString &key, Operator comparison, const QVariant &value, VXTextOptions options = {})
{
    return VXPredicate::comparison(VXExpression::keyPath(key), comparison, VXExpression::constant(value), options);
}

QString conversationOf(const VXListRow &row)
{
    return row.value.value<VXRowContents>().data.value<VXShownMessage>().conversation;
}

/** Goes through each folder from its newest message on, by the index of the folders' dates; what was found is left out. */
class Search
{
public:
    Search(const VXMessageStore &store, const QString &text) : _context(store.coordinator()), _store(store), _text(text)
    {
    }

    QList<VXListRow> newest(qsizetype wanted, bool *isAll)
    {
        QList<VXManagedObjectPtr> found;
        *isAll = true;
        for (const VXManagedObjectPtr &folder : _store.folders(_context).value_or(QList<VXManagedObjectPtr>())) {
            if (VXMessageStore::folderTitle(folder) != VXTrashFolder)
                addFolder(folder, wanted, &found, isAll);
        }
        std::ranges::stable_sort(found, std::ranges::greater(), dateOf);
        QList<VXListRow> rows;
        QSet<QString> known;
        for (const VXManagedObjectPtr &message : std::as_const(found)) {
            const QString conversation = message->valueForKey(u"conversation"_s).toString();
            if (known.contains(conversation) || rows.size() == wanted)
                continue;
            known.insert(conversation);
            VXListRow row = VXRowOfMessage(message);
            row.objectID = message->objectID();
            rows.append(row);
        }
        addUnread(rows, known);
        return rows;
    }

private:
    // The newest message of a conversation may be one's own.
    void addUnread(QList<VXListRow> &rows, const QSet<QString> &conversations)
    {
        VXFetchRequest request(*_store.coordinator()->model().entityForName(VXMessageStore::entityName));
        request.predicate = VXPredicate::allOf(
            {compare(u"conversation"_s, Operator::In, QVariantList(conversations.cbegin(), conversations.cend())),
             compare(u"state"_s, Operator::Equal, int(VXMessageRecord::State::Unread)),
             compare(u"pending"_s, Operator::NotEqual, int(VXPendingChange::Remove))});
        QHash<QString, int> unread;
        const auto found = _context.executeFetchRequest(request);
        if (!found)
            return;
        for (const VXManagedObjectPtr &message : *found)
            ++unread[message->valueForKey(u"conversation"_s).toString()];
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
    }

    static QDateTime dateOf(const VXManagedObjectPtr &message) { return message->valueForKey(u"date"_s).toDateTime(); }

    void addFolder(const VXManagedObjectPtr &folder, qsizetype wanted, QList<VXManagedObjectPtr> *found, bool *isAll)
    {
        QSet<QString> known;
        while (known.size() < wanted) {
            VXFetchRequest request(*_store.coordinator()->model().entityForName(VXMessageStore::entityName));
            QList<VXPredicate> conditions{compare(u"folder"_s, Operator::Equal, QVariant::fromValue(folder)),
                                          compare(u"pending"_s, Operator::NotEqual, int(VXPendingChange::Remove))};
            if (!known.isEmpty())
                conditions.append(VXPredicate::negationOf(
                    compare(u"conversation"_s, Operator::In, QVariantList(known.cbegin(), known.cend()))));
            if (!_text.isEmpty())
                conditions.append(
                    VXPredicate::anyOf({compare(u"text"_s, Operator::Contains, _text,
                                                VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive),
                                        compare(u"otherParty_search"_s, Operator::Contains, _text,
                                                VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive)}));
            request.predicate = VXPredicate::allOf(conditions);
            request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
            request.limit = 2 * portion;
            const auto messages = _context.executeFetchRequest(request);
            if (!messages || messages->isEmpty())
                return;
            for (const VXManagedObjectPtr &message : *messages) {
                const QString conversation = message->valueForKey(u"conversation"_s).toString();
                if (!known.contains(conversation)) {
                    known.insert(conversation);
                    found->append(message);
                }
            }
            if (messages->size() < request.limit)
                return;
        }
        *isAll = false;
    }

    VXManagedObjectContext _context;
    const VXMessageStore &_store;
    const QString _text;
};

} // namespace

VXConversationList::VXConversationList(const VXMessageStore &store, QObject *parent)
    : QAbstractListModel(parent), _store(store), _watch(std::make_unique<VXStoreWatch>(store.coordinator()))
{
    connect(_watch.get(), &VXStoreWatch::didChange, this, &VXConversationList::read);
    read();
}

VXConversationList::~VXConversationList()
{
    *_isGone = true;
}

void VXConversationList::setSearch(const QString &text)
{
    _search = text;
    _wanted = portion;
    read();
}

int VXConversationList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(_rows.size());
}

QVariant VXConversationList::data(const QModelIndex &index, int role) const
{
    if (index.row() < 0 || index.row() >= _rows.size())
        return {};
    const VXListRow &row = _rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return row.text;
    case VXStoreListModel::ValueRole:
        return row.value;
    case VXStoreListModel::ObjectIDRole:
        return QVariant::fromValue(row.objectID);
    default:
        return {};
    }
}

int VXConversationList::rowOfConversation(const QString &conversation) const
{
    const auto found = std::ranges::find(_rows, conversation, conversationOf);
    return found == _rows.cend() ? -1 : static_cast<int>(found - _rows.cbegin());
}

bool VXConversationList::canFetchMore(const QModelIndex &) const
{
    return !_isAll && !_isReading;
}

void VXConversationList::fetchMore(const QModelIndex &)
{
    _wanted += portion;
    read();
}

void VXConversationList::read()
{
    _isReadDue = _isReading;
    if (_isReading)
        return;
    _isReading = true;
    QThreadPool::globalInstance()->start([this, store = _store, search = _search, wanted = _wanted, isGone = _isGone] {
        bool isAll = false;
        const Rows rows = Search(store, search).newest(wanted, &isAll);
        QMetaObject::invokeMethod(QCoreApplication::instance(), [this, rows, isAll, search, isGone] {
            if (*isGone)
                return;
            _isReading = false;
            if (search == _search)
                take(rows, isAll);
            if (_isReadDue || search != _search)
                read();
        });
    });
}

// Rows move: whoever has one selected keeps the conversation.
void VXConversationList::take(const Rows &rows, bool isAll)
{
    QList<std::pair<QPersistentModelIndex, QString>> held;
    for (const QModelIndex &each : persistentIndexList())
        held.append({each, conversationOf(_rows.at(each.row()))});
    const int before = static_cast<int>(_rows.size());
    const int after = static_cast<int>(rows.size());
    _isAll = isAll;
    if (after > before)
        beginInsertRows({}, before, after - 1);
    else if (after < before)
        beginRemoveRows({}, after, before - 1);
    _rows = rows;
    if (after > before)
        endInsertRows();
    else if (after < before)
        endRemoveRows();
    Q_EMIT layoutAboutToBeChanged();
    for (const auto &[now, conversation] : std::as_const(held)) {
        const int row = rowOfConversation(conversation);
        if (now.isValid())
            changePersistentIndex(now, row < 0 ? QModelIndex() : index(row));
    }
    Q_EMIT layoutChanged();
    if (after > 0)
        Q_EMIT dataChanged(index(0), index(after - 1));
    Q_EMIT didRead();
}
