#include "VXStoreListModel.h"

#include "VXException.h"
#include "VXListReader.h"
#include "VXStoreWatch.h"

#include <QtCore/QHash>
#include <QtCore/QMap>
#include <QtCore/QScopedValueRollback>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype pageSize = VXListReader::pageSize;
constexpr qsizetype keptPages = 64;
constexpr qsizetype mostOrdered = 20'000; // rows among which those selected are found again
constexpr qsizetype refreshedPages = 3;   // around those that are shown; of a new query the first one

} // namespace

/** The result of a refresh: the number of rows, and the pages around those shown; the order of the first rows if some
 *  selected ones are elsewhere. */
struct VXStoreListModel::Refresh
{
    qsizetype count = 0;
    QMap<qsizetype, Page> pages = {};
    QList<VXManagedObjectID> order = {};

    QHash<VXManagedObjectID, int> places() const
    {
        QHash<VXManagedObjectID, int> places;
        for (qsizetype row = 0; row < order.size(); ++row)
            places.insert(order[row], static_cast<int>(row));
        for (auto page = pages.cbegin(); page != pages.cend(); ++page) {
            for (qsizetype place = 0; place < page->size(); ++place)
                places.insert(page->at(place).objectID, static_cast<int>(page.key() * pageSize + place));
        }
        return places;
    }
};

VXStoreListModel::VXStoreListModel(QObject *parent) : QAbstractListModel(parent), _pages(keptPages)
{
    _thread.setObjectName(u"list"_s);
}

VXStoreListModel::~VXStoreListModel()
{
    dropReader();
    _thread.quit();
    _thread.wait();
}

// Lets it finish reading, but ignores the result.
void VXStoreListModel::dropReader()
{
    ++*_generation;
    if (_reader != nullptr)
        _reader->deleteLater();
    _reader = nullptr;
}

void VXStoreListModel::setQuery(const VXListQuery &query)
{
    VXAssert(!query.coordinator || (query.request && query.makeRow), u"A list needs a request, and makes rows."_s);
    beginResetModel();
    dropReader();
    _query = query;
    _pages.clear();
    _held.clear();
    _askedFor.clear();
    _count = 0;
    _lastShown = 0;
    _isRefreshing = _isRefreshDue = false;
    _watch.reset();
    _isReading = query.coordinator != nullptr;
    endResetModel();
    if (!_isReading)
        return;
    _reader = new VXListReader(query);
    _reader->moveToThread(&_thread);
    _thread.start();
    _watch = std::make_unique<VXStoreWatch>(query.coordinator);
    connect(_watch.get(), &VXStoreWatch::didChange, this, &VXStoreListModel::refresh);
    refresh();
}

// Runs `work` on the reader's thread, and passes its result to `take` here, unless the query has changed by then.
template <class Work, class Take>
void VXStoreListModel::read(Work work, Take take) const
{
    auto *const self = const_cast<VXStoreListModel *>(this);
    const auto isWanted = [generation = _generation, begun = _generation->load()] { return *generation == begun; };
    QMetaObject::invokeMethod(_reader, [self, reader = _reader, isWanted, work, take] {
        if (!isWanted())
            return;
        VXError error;
        auto answer = work(*reader, isWanted, &error);
        // Safe, since the model waits for this thread before it is destroyed.
        QMetaObject::invokeMethod(self, [self, isWanted, take, answer = std::move(answer), error] {
            if (!isWanted())
                return;
            if (!answer)
                Q_EMIT self->didFail(error);
            take(*self, answer);
        });
    });
}

int VXStoreListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(_count);
}

const VXListRow *VXStoreListModel::rowAt(int row) const
{
    if (row < 0)
        return nullptr;
    const qsizetype index = row / pageSize;
    const Page *const page = _pages.object(index);
    const qsizetype place = row % pageSize;
    return page != nullptr && place < page->size() ? &page->at(place) : nullptr;
}

QVariant VXStoreListModel::value(const VXListRow *row, int role) const
{
    if (row == nullptr)
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return row->text;
    case ValueRole:
        return row->value;
    case ObjectIDRole:
        return QVariant::fromValue(row->objectID);
    default:
        return {};
    }
}

QVariant VXStoreListModel::data(const QModelIndex &index, int role) const
{
    QModelRoleData data(role);
    multiData(index, data);
    return data.data();
}

void VXStoreListModel::multiData(const QModelIndex &index, QModelRoleDataSpan roles) const
{
    const VXListRow *const row = rowAt(index.row());
    _lastShown = index.row() / pageSize;
    if (row == nullptr)
        askForPage(_lastShown);
    for (QModelRoleData &each : roles)
        each.setData(value(row, each.role()));
}

VXManagedObjectID VXStoreListModel::objectIDAt(int row) const
{
    const VXListRow *const found = rowAt(row);
    return found == nullptr ? _held.value(row) : found->objectID;
}

std::optional<QList<VXManagedObjectID>> VXStoreListModel::objectIDsOf(const QModelIndexList &rows, VXError *error) const
{
    QList<VXManagedObjectID> ids;
    for (const QModelIndex &each : rows)
        ids.append(objectIDAt(each.row()));
    if (std::ranges::none_of(ids, &VXManagedObjectID::isNull))
        return ids;
    const auto all = VXListReader(_query).objectIDs(0, error);
    if (!all || all->size() != _count)
        return std::nullopt;
    for (const auto &[row, objectID] : knownObjects().asKeyValueRange()) {
        if (!(all->value(row) == objectID))
            return std::nullopt;
    }
    for (qsizetype i = 0; i < ids.size(); ++i)
        ids[i] = all->value(rows[i].row());
    return ids;
}

QHash<int, VXManagedObjectID> VXStoreListModel::knownObjects() const
{
    QHash<int, VXManagedObjectID> known = _held;
    for (const qsizetype index : _pages.keys()) {
        for (qsizetype place = 0; const VXListRow &row : *_pages.object(index))
            known.insert(static_cast<int>(index * pageSize + place++), row.objectID);
    }
    return known;
}

int VXStoreListModel::rowOfObject(const VXManagedObjectID &objectID) const
{
    for (const qsizetype index : _pages.keys()) {
        const Page &page = *_pages.object(index);
        const auto found = std::ranges::find(page, objectID, &VXListRow::objectID);
        if (found != page.cend())
            return static_cast<int>(index * pageSize + (found - page.cbegin()));
    }
    return -1;
}

void VXStoreListModel::askForPage(qsizetype index) const
{
    if (!_reader || _isReading || _askedFor.contains(index) || index * pageSize >= _count)
        return;
    _askedFor.insert(index);
    const auto work = [index](VXListReader &reader, const auto &, VXError *error) { return reader.page(index, error); };
    read(work, [index](VXStoreListModel &model, const std::optional<Page> &rows) {
        model._askedFor.remove(index);
        if (rows)
            model.takePage(index, *rows);
    });
}

void VXStoreListModel::takePage(qsizetype index, const Page &rows)
{
    _pages.insert(index, new Page(rows));
    const int first = static_cast<int>(index * pageSize);
    const int last = static_cast<int>(std::min(index * pageSize + rows.size(), _count)) - 1;
    if (last >= first)
        Q_EMIT dataChanged(this->index(first), this->index(last));
}

// One at a time: changes meanwhile make another one due.
void VXStoreListModel::refresh()
{
    _isRefreshDue = _isRefreshing;
    if (_isRefreshing)
        return;
    _isRefreshing = true;
    const qsizetype first = std::max<qsizetype>(0, _lastShown - refreshedPages / 2);
    const qsizetype pages = _isReading ? 1 : refreshedPages;
    QSet<VXManagedObjectID> held;
    for (const QModelIndex &each : persistentIndexList())
        held.insert(objectIDAt(each.row()));
    held.remove({});
    const auto work = [first, pages, held](VXListReader &reader, const auto &isWanted,
                                           VXError *error) -> std::optional<Refresh> {
        if (!reader.begin(error))
            return std::nullopt;
        Refresh found;
        qsizetype end = 0; // of the rows read
        for (qsizetype index = first; index < first + pages && isWanted(); ++index) {
            const std::optional<Page> page = reader.page(index, error);
            if (!page)
                return std::nullopt;
            if (page->isEmpty())
                break;
            found.pages.insert(index, *page);
            end = index * pageSize + page->size();
            if (page->size() < pageSize)
                break;
        }
        // Counted behind the pages, so that rows saved meanwhile push none of those shown off the end.
        const std::optional<qsizetype> count = reader.count(error);
        if (!count)
            return std::nullopt;
        found.count = std::max(*count, end);
        const auto places = found.places();
        if (std::ranges::all_of(held, [&places](const auto &each) { return places.contains(each); }))
            return found;
        auto order = reader.objectIDs(mostOrdered, error);
        if (!order)
            return std::nullopt;
        found.order = std::move(*order);
        return found;
    };
    read(work, [](VXStoreListModel &model, const std::optional<Refresh> &found) {
        model._isRefreshing = false;
        if (found)
            model.takeRefresh(*found);
        if (model._isRefreshDue)
            model.refresh();
    });
}

void VXStoreListModel::takePages(const Refresh &refresh)
{
    _pages.clear();
    _held.clear();
    _askedFor.clear();
    for (auto page = refresh.pages.cbegin(); page != refresh.pages.cend(); ++page)
        _pages.insert(page.key(), new Page(*page));
}

// Selected rows follow their objects. One whose object is not known, or not found, is left without selection: it might be
// another one's by now.
void VXStoreListModel::takeRefresh(const Refresh &refresh)
{
    const QHash<VXManagedObjectID, int> places = refresh.places();
    const QHash<int, VXManagedObjectID> known = knownObjects();
    int changed = -1; // the first row with another object
    for (auto page = refresh.pages.cbegin(); page != refresh.pages.cend() && changed < 0; ++page) {
        for (qsizetype place = 0; place < page->size() && changed < 0; ++place) {
            const int row = static_cast<int>(page.key() * pageSize + place);
            if (!(known.value(row) == page->at(place).objectID))
                changed = row;
        }
    }
    const int before = static_cast<int>(_count);
    const int after = static_cast<int>(refresh.count);
    const int at = std::min(changed < 0 ? before : changed, std::min(before, after));
    const bool isFirst = std::exchange(_isReading, false);
    const QScopedValueRollback following(_isFollowing, !isFirst);

    // Rows known to be gone are removed where they were, so that a view goes on to the next one; else at the end.
    int gone = 0;
    while (at + gone < before && gone < before - after && known.contains(at + gone) &&
           !places.contains(known.value(at + gone)))
        ++gone;
    const bool isRemovedHere = gone > 0 && gone == before - after;
    if (isRemovedHere) {
        beginRemoveRows({}, at, at + gone - 1);
        _count = after;
        takePages(refresh);
        endRemoveRows();
    } else if (after > before) {
        beginInsertRows({}, before, after - 1);
        _count = after;
        takePages(refresh);
        endInsertRows();
    }
    const auto objectBefore = [&](int row) { return known.value(isRemovedHere && row >= at ? row + gone : row); };
    const bool isSame =
        changed < 0 && before == after && std::ranges::all_of(persistentIndexList(), [&](const auto &each) {
            const VXManagedObjectID objectID = objectBefore(each.row());
            return objectID.isNull() || places.value(objectID, -1) == each.row();
        });
    if (!isSame)
        Q_EMIT layoutAboutToBeChanged();
    takePages(refresh);
    for (const QModelIndex &each : persistentIndexList()) {
        const VXManagedObjectID objectID = objectBefore(each.row());
        const int row = objectID.isNull() ? -1 : places.value(objectID, -1);
        if (row >= 0 && rowAt(row) == nullptr)
            _held.insert(row, objectID);
        if (!isSame)
            changePersistentIndex(each, row < 0 ? QModelIndex() : index(row));
    }
    if (!isSame)
        Q_EMIT layoutChanged();
    if (after < _count) {
        beginRemoveRows({}, after, static_cast<int>(_count) - 1);
        _count = after;
        endRemoveRows();
    }
    if (_count > 0)
        Q_EMIT dataChanged(index(0), index(static_cast<int>(_count) - 1));
    Q_EMIT didRead();
}
