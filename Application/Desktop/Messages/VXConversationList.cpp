#include "VXConversationList.h"

#include "VXStoreListModel.h"
#include "VXStoreWatch.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QThreadPool>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype portion = 100;

} // namespace

VXConversationList::VXConversationList(const VXMessageStore &store, QObject *parent)
    : QAbstractListModel(parent), _watch(std::make_unique<VXStoreWatch>(store.coordinator())),
      _reader(std::make_shared<VXConversationReader>(store))
{
    connect(_watch.get(), &VXStoreWatch::didChange, this, [this] {
        _wanted.isForChanged = true;
        read();
    });
    _wanted.count = portion;
    read();
}

VXConversationList::~VXConversationList()
{
    ++*_turn;
}

void VXConversationList::setSearch(const QString &text, const VXManagedObjectID &folder)
{
    if (text == _wanted.text && folder == _wanted.folder)
        return;
    _wanted.text = text;
    _wanted.folder = folder;
    _wanted.count = portion;
    ++*_turn;
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
    const auto found = std::ranges::find(_rows, conversation, VXConversationReader::conversationOf);
    return found == _rows.cend() ? -1 : static_cast<int>(found - _rows.cbegin());
}

int VXConversationList::rowLike(const VXListRow &row) const
{
    const auto found = std::ranges::find(_rows, row.objectID, &VXListRow::objectID);
    return found == _rows.cend() ? rowOfConversation(VXConversationReader::conversationOf(row))
                                 : static_cast<int>(found - _rows.cbegin());
}

bool VXConversationList::canFetchMore(const QModelIndex &) const
{
    return !_isAll && !_isReading;
}

void VXConversationList::fetchMore(const QModelIndex &)
{
    _wanted.count += portion;
    read();
}

// Only one reading at a time. A reading for another text ends the present one. A reading because of changes waits,
// since otherwise there might never be a result.
void VXConversationList::read()
{
    _isReading = true;
    _isReadDue = _isAtWork;
    if (_isAtWork)
        return;
    _isAtWork = true;
    const VXConversationReader::Wanted wanted = _wanted;
    _wanted.isForChanged = false;
    QThreadPool::globalInstance()->start(
        [list = QPointer(this), wanted, reader = _reader, turn = _turn, begun = _turn->load()] {
            const auto onMain = [&list](auto work) {
                QMetaObject::invokeMethod(QCoreApplication::instance(), [list, work] {
                    if (list)
                        work(*list);
                });
            };
            const auto isWanted = [&] { return *turn == begun; };
            reader->read(wanted, isWanted, [&](const VXConversationReader::Answer &answer) {
                onMain([answer, begun](VXConversationList &self) {
                    if (*self._turn == begun)
                        self.take(answer);
                });
            });
            onMain([](VXConversationList &self) { self.didEnd(); });
        });
}

void VXConversationList::didEnd()
{
    _isAtWork = false;
    if (_isReadDue)
        read();
}

// Rows are moved, so that a selected conversation stays selected.
void VXConversationList::take(const VXConversationReader::Answer &answer)
{
    const Rows &rows = answer.rows;
    QList<std::pair<QPersistentModelIndex, VXListRow>> held;
    for (const QModelIndex &each : persistentIndexList())
        held.append({each, _rows.at(each.row())});
    const int before = static_cast<int>(_rows.size());
    const int after = static_cast<int>(rows.size());
    _isAll = answer.isAll;
    _isReading = !answer.isLast;
    if (after > before) {
        beginInsertRows({}, before, after - 1);
        _rows += rows.sliced(before);
        endInsertRows();
    }
    Q_EMIT layoutAboutToBeChanged();
    std::fill(std::ranges::copy(rows, _rows.begin()).out, _rows.end(), VXListRow());
    for (const auto &[now, row] : std::as_const(held)) {
        const int place = rowLike(row);
        if (now.isValid())
            changePersistentIndex(now, place < 0 ? QModelIndex() : index(place));
    }
    Q_EMIT layoutChanged();
    if (after < before) { // once nothing that is selected stands there: another row would be selected in its place
        beginRemoveRows({}, after, before - 1);
        _rows.resize(after);
        endRemoveRows();
    }
    if (after > 0)
        Q_EMIT dataChanged(index(0), index(after - 1));
    Q_EMIT didRead();
}
