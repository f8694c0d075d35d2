#include "VXConversationModel.h"

#include "VXDataManager.h"
#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXOutbox.h"
#include "VXOutgoingMessage.h"
#include "VXStoreListModel.h"
#include "VXStoreWatch.h"

#include <QtCore/QThreadPool>

#include <algorithm>

using namespace Qt::StringLiterals;

VXConversationModel::VXConversationModel(const VXMessageStore &store, QObject *parent)
    : QAbstractListModel(parent), _store(store), _watch(std::make_unique<VXStoreWatch>(store.coordinator()))
{
    connect(_watch.get(), &VXStoreWatch::didChange, this, &VXConversationModel::read);
    if (const auto outbox = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"outbox"_s)) {
        _outboxWatch = std::make_unique<VXStoreWatch>(outbox);
        connect(_outboxWatch.get(), &VXStoreWatch::didChange, this, &VXConversationModel::read);
    }
}

VXConversationModel::~VXConversationModel()
{
    *_isGone = true;
}

void VXConversationModel::setConversations(const QStringList &keys, const VXManagedObjectID &sought)
{
    QStringList sorted = keys;
    sorted.sort();
    const bool isOther = sorted != _keys;
    if (!isOther && (sought.isNull() || rowOfObject(sought) >= 0))
        return;
    _sought = _kept = sought;
    if (isOther) {
        beginResetModel();
        _keys = sorted;
        _rows.clear();
        _wanted = portion;
        _readCount = 0;
        _isAll = false;
        _isOther = true;
        endResetModel();
    }
    read();
}

int VXConversationModel::rowOfObject(const VXManagedObjectID &objectID) const
{
    const auto found = std::ranges::find(_rows, objectID, &Row::objectID);
    return found == _rows.cend() ? -1 : static_cast<int>(found - _rows.cbegin());
}

void VXConversationModel::readOlder()
{
    if (!hasOlder() || _readCount < _wanted)
        return;
    _wanted += portion;
    read();
}

int VXConversationModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(_rows.size());
}

QVariant VXConversationModel::data(const QModelIndex &index, int role) const
{
    if (index.row() < 0 || index.row() >= _rows.size())
        return {};
    const VXShownMessage &shown = _rows.at(index.row()).shown;
    switch (role) {
    case VXStoreListModel::ValueRole:
        return QVariant::fromValue(shown);
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole: {
        const QString who = shown.message.isIncoming() ? shown.who : VXText("You");
        QString text = u"%1: %2, %3"_s.arg(who, shown.message.text, VXTextOfDate(shown.message.date));
        return shown.outboxState.isEmpty() ? text : text + u", "_s + shown.outboxState;
    }
    default:
        return {};
    }
}

namespace {

/** What the outbox says about the messages that wait in it, by the URI of their drafts. */
QHash<QString, VXOutboxEntry> waitingMessages()
{
    QHash<QString, VXOutboxEntry> waiting;
    const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
    const auto entries = outbox ? outbox->entries(VXOutgoingMessage::kind) : std::nullopt;
    for (const VXOutboxEntry &entry : entries.value_or(QList<VXOutboxEntry>())) {
        if (entry.state != VXOutboxState::Sent)
            waiting.insert(VXOutgoingMessage(entry).messageURI.toString(), entry);
    }
    return waiting;
}

void addOutboxState(VXShownMessage &shown, const VXOutboxEntry &entry)
{
    shown.outboxNumber = entry.number;
    shown.problem = entry.problem;
    switch (entry.state) {
    case VXOutboxState::Queued:
        shown.outboxState =
            entry.attempts == 0
                ? VXText("Waiting to be sent")
                : VXText("Not sent yet, next try %1").arg(VXTextOfDate(entry.nextDate, VXDateStyle::Short));
        break;
    case VXOutboxState::Sending:
        shown.outboxState = VXText("Sending…");
        break;
    case VXOutboxState::Failed:
        shown.outboxState = VXText("Not sent");
        shown.isFailed = true;
        break;
    case VXOutboxState::PerhapsSent:
        shown.outboxState = VXText("Perhaps sent");
        shown.isFailed = true;
        break;
    case VXOutboxState::Sent:
        break;
    }
}

} // namespace

VXConversationModel::Found VXConversationModel::find(const VXMessageStore &store, const QStringList &keys,
                                                     qsizetype wanted, const VXManagedObjectID &kept)
{
    VXManagedObjectContext context(store.coordinator());
    const auto found = store.newestOfConversations(keys, wanted, context);
    if (!found)
        return {};
    Rows rows;
    const QHash<QString, VXOutboxEntry> waiting = waitingMessages();
    for (const VXManagedObjectPtr &message : *found) {
        if (VXIsInTrash(message) && !(message->objectID() == kept))
            continue;
        Row row{message->objectID(), VXShowMessage(message)};
        if (row.shown.message.state == VXMessageRecord::State::Unsent) {
            const auto entry = waiting.constFind(row.objectID.uriRepresentation().toString());
            if (entry != waiting.cend())
                addOutboxState(row.shown, *entry);
        }
        rows.prepend(row);
    }
    return {rows, found->size()};
}

// The portions from the newest on that hold the message, with something older above it; 0 when it is not in the conversations.
qsizetype VXConversationModel::wantedFor(const VXMessageStore &store, const QStringList &keys,
                                         const VXManagedObjectID &sought)
{
    VXManagedObjectContext context(store.coordinator());
    const VXManagedObjectPtr message = context.existingObjectWithID(sought);
    if (!message || !keys.contains(message->valueForKey(u"conversation"_s).toString()))
        return 0;
    VXFetchRequest newer = store.messagesOfConversations(keys);
    if (const QVariant date = message->valueForKey(u"date"_s); date.isValid()) // those without one are the oldest
        newer.predicate =
            VXPredicate::allOf({newer.predicate, *VXPredicate::predicateWithFormat(u"date >= %@"_s, {date})});
    return (context.countForFetchRequest(newer).value_or(0) / portion + 1) * portion;
}

void VXConversationModel::read()
{
    if (_keys.isEmpty())
        return;
    const quint64 asked = ++_asked;
    QThreadPool::globalInstance()->start([this, store = _store, keys = _keys, sought = _sought, kept = _kept,
                                          wanted = _wanted, asked, isGone = _isGone] {
        const qsizetype enough = sought.isNull() ? wanted : std::max(wanted, wantedFor(store, keys, sought));
        const Found found = find(store, keys, enough, kept);
        QMetaObject::invokeMethod(QCoreApplication::instance(), [this, found, enough, asked, isGone] {
            if (!*isGone && asked == _asked)
                take(found, enough);
        });
    });
}

// Rows come at the end, or above; where something else has changed all are drawn anew.
void VXConversationModel::take(const Found &found, qsizetype wanted)
{
    const Rows &rows = found.rows;
    const bool isOther = std::exchange(_isOther, false);
    _wanted = wanted;
    _sought = {};
    _readCount = found.readCount;
    _isAll = _readCount < _wanted;
    const auto place = [&](const Row &row) {
        return std::ranges::find(rows, row.objectID, &Row::objectID) - rows.cbegin();
    };
    const qsizetype above = _rows.isEmpty() ? 0 : place(_rows.constFirst());
    const bool isSameRun = above + _rows.size() <= rows.size() &&
                           std::equal(_rows.cbegin(), _rows.cend(), rows.cbegin() + above,
                                      [](const Row &a, const Row &b) { return a.objectID == b.objectID; });
    if (!isSameRun) {
        beginResetModel();
        _rows = rows;
        endResetModel();
        Q_EMIT didRead(isOther, 0);
        return;
    }
    const int known = static_cast<int>(_rows.size());
    const int below = static_cast<int>(rows.size() - above) - known;
    if (above > 0) {
        beginInsertRows({}, 0, static_cast<int>(above) - 1);
        _rows = rows.first(above) + _rows;
        endInsertRows();
    }
    if (below > 0) {
        beginInsertRows({}, static_cast<int>(_rows.size()), static_cast<int>(rows.size()) - 1);
        _rows = rows;
        endInsertRows();
    }
    _rows = rows;
    if (!_rows.isEmpty())
        Q_EMIT dataChanged(index(0), index(static_cast<int>(_rows.size()) - 1));
    Q_EMIT didRead(isOther, known > 0 ? below : 0);
}
