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

/** The result of a refresh: the number of rows, and the pages around those shown; the order of the first rows, or of
 *  all, if some selected ones are elsewhere. */
struct VXStoreListModel::Refresh
{
    qsizetype count = 0;
    QMap<qsizetype, Page> pages = {};
    QList<VXManagedObjectID> order = {};
    QHash<VXManagedObjectID, int> places = {}; // of both

    void placePages()
    {
        for (auto page = pages.cbegin(); page != pages.cend(); ++page) {
            for (qsizetype place = 0; place < page->size(); ++place)
                places.insert(page->at(place).objectID, static_cast<int>(page.key() * pageSize + place));
        }
    }
    void placeOrder()
    {
        places.reserve(order.size());
        for (qsizetype row = 0; row < order.size(); ++row)
            places.insert(order[row], static_cast<int>(row));
        placePages();
    }
};

/** What is known of the objects in rows, at one time. */
struct VXStoreListModel::Known
{
    QHash<qsizetype, Page> pages = {};
    QHash<int, VXManagedObjectID> held = {};
    QList<VXManagedObjectID> order = {};

    VXManagedObjectID at(int row) const
    {
        if (row < order.size())
            return order[row];
        const Page page = pages.value(row / pageSize);
        return row % pageSize < page.size() ? page[row % pageSize].objectID : held.value(row);
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
    _order.clear();
    _askedFor.clear();
    _count = 0;
    _lastShown = 0;
    _isRefreshing = _isRefreshDue = _isReadingOrder = false;
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
    if (found != nullptr)
        return found->objectID;
    return row >= 0 && row < _order.size() ? _order[row] : _held.value(row);
}

std::optional<QList<VXManagedObjectID>> VXStoreListModel::objectIDsOf(const QModelIndexList &rows, VXError *error) const
{
    QList<VXManagedObjectID> ids;
    for (const QModelIndex &each : rows)
        ids.append(objectIDAt(each.row()));
    if (std::ranges::none_of(ids, &VXManagedObjectID::isNull))
        return ids;
    const auto all = VXListReader(_query).objectIDs(0, error);
    if (!all || !isOrderOfRows(*all))
        return std::nullopt;
    for (qsizetype i = 0; i < ids.size(); ++i)
        ids[i] = all->value(rows[i].row());
    return ids;
}

// As far as they are known.
bool VXStoreListModel::isOrderOfRows(const QList<VXManagedObjectID> &order) const
{
    if (order.size() != _count)
        return false;
    for (const qsizetype index : _pages.keys()) {
        for (qsizetype row = index * pageSize; const VXListRow &each : *_pages.object(index)) {
            if (!(order.value(row++) == each.objectID))
                return false;
        }
    }
    for (const auto &[row, objectID] : _held.asKeyValueRange()) {
        if (!(order.value(row) == objectID))
            return false;
    }
    return true;
}

VXStoreListModel::Known VXStoreListModel::knownNow() const
{
    Known known{.held = _held, .order = _order};
    for (const qsizetype index : _pages.keys())
        known.pages.insert(index, *_pages.object(index));
    return known;
}

// -- What is selected

void VXStoreListModel::followSelection(QItemSelectionModel *selection)
{
    if (_selection)
        _selection->disconnect(this);
    _selection = selection;
    connect(selection, &QItemSelectionModel::selectionChanged, this, &VXStoreListModel::noteSelected);
    noteSelected();
}

void VXStoreListModel::noteSelected()
{
    if (_isTakingRows || !_selection)
        return;
    if (holdSelected())
        _order.clear();
    else if (_order.isEmpty() && !_isReadingOrder)
        readOrder();
}

// False when some are not read.
bool VXStoreListModel::holdSelected()
{
    QHash<int, VXManagedObjectID> held;
    if (const int current = _selection->currentIndex().row(); !objectIDAt(current).isNull())
        held.insert(current, objectIDAt(current));
    for (const QItemSelectionRange &range : _selection->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            const VXListRow *const read = rowAt(row);
            const VXManagedObjectID objectID = read != nullptr ? read->objectID : _held.value(row);
            if (objectID.isNull())
                return false;
            held.insert(row, objectID);
        }
    }
    _held = held;
    return true;
}

void VXStoreListModel::readOrder()
{
    if (!_reader || _isReading)
        return;
    _isReadingOrder = true;
    const auto work = [](const VXListReader &reader, const auto &, VXError *error) {
        return reader.objectIDs(0, error);
    };
    read(work, [](VXStoreListModel &model, const std::optional<QList<VXManagedObjectID>> &order) {
        model._isReadingOrder = false;
        if (order && model.isOrderOfRows(*order) && model._selection && !model.holdSelected())
            model._order = *order;
    });
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
    QSet<VXManagedObjectID> held(_held.cbegin(), _held.cend());
    for (const QModelIndex &each : persistentIndexList())
        held.insert(objectIDAt(each.row()));
    held.remove({});
    const bool needsAll = !_order.isEmpty() || _isReadingOrder;
    const auto work = [first, pages, held, needsAll](VXListReader &reader, const auto &isWanted,
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
        found.placePages();
        const auto isPlaced = [&found](const VXManagedObjectID &each) { return found.places.contains(each); };
        if (!needsAll && std::ranges::all_of(held, isPlaced))
            return found;
        auto order = reader.objectIDs(needsAll ? 0 : mostOrdered, error);
        if (!order)
            return std::nullopt;
        found.order = std::move(*order);
        found.placeOrder();
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
    _askedFor.clear();
    for (auto page = refresh.pages.cbegin(); page != refresh.pages.cend(); ++page)
        _pages.insert(page.key(), new Page(*page));
}

void VXStoreListModel::moveHeld(const Refresh &refresh)
{
    QHash<int, VXManagedObjectID> held;
    for (const VXManagedObjectID &each : std::as_const(_held)) {
        if (const int row = refresh.places.value(each, -1); row >= 0)
            held.insert(row, each);
    }
    _held = held;
    if (!_order.isEmpty()) // what was saved between the count and the order comes with the next refresh
        _order = refresh.order.size() == refresh.count ? refresh.order : QList<VXManagedObjectID>();
}

// Whether all that is held, or current, stands where it stood.
bool VXStoreListModel::isInPlace(const Refresh &refresh) const
{
    if (!_order.isEmpty() && _order != refresh.order)
        return false;
    for (const auto &[row, objectID] : _held.asKeyValueRange()) {
        if (refresh.places.value(objectID, -1) != row)
            return false;
    }
    return std::ranges::all_of(persistentIndexList(), [&](const auto &each) {
        const VXManagedObjectID objectID = objectIDAt(each.row());
        return objectID.isNull() || refresh.places.value(objectID, -1) == each.row();
    });
}

// Selected rows follow their objects. One whose object is not known, or not found, is left without selection: it might be
// another one's by now.
void VXStoreListModel::takeRefresh(const Refresh &refresh)
{
    const QScopedValueRollback taking(_isTakingRows, true);
    const Known known = knownNow();
    int changed = -1; // the first row with another object
    for (auto page = refresh.pages.cbegin(); page != refresh.pages.cend() && changed < 0; ++page) {
        for (qsizetype place = 0; place < page->size() && changed < 0; ++place) {
            const int row = static_cast<int>(page.key() * pageSize + place);
            if (!(known.at(row) == page->at(place).objectID))
                changed = row;
        }
    }
    const int before = static_cast<int>(_count);
    const int after = static_cast<int>(refresh.count);
    const int at = std::min(changed < 0 ? before : changed, std::min(before, after));
    const bool isSame = changed < 0 && before == after && isInPlace(refresh);
    const bool isFirst = std::exchange(_isReading, false);
    const QScopedValueRollback following(_isFollowing, !isFirst);

    // Rows known to be gone are removed where they were, so that a view goes on to the next one; else at the end.
    int gone = 0;
    while (at + gone < before && gone < before - after && !known.at(at + gone).isNull() &&
           !refresh.places.contains(known.at(at + gone)))
        ++gone;
    const bool isRemovedHere = gone > 0 && gone == before - after;
    if (isRemovedHere) {
        beginRemoveRows({}, at, at + gone - 1);
        _count = after;
        takePages(refresh);
        endRemoveRows();
    }
    moveHeld(refresh);
    if (isSame) {
        takePages(refresh);
    } else {
        // With a row more than there are: a selection of all rows would be left to whoever stands in them.
        const int most = static_cast<int>(std::max<qsizetype>(after, _count)) + 1;
        beginInsertRows({}, static_cast<int>(_count), most - 1);
        _count = most;
        takePages(refresh);
        endInsertRows();
        Q_EMIT layoutAboutToBeChanged();
        for (const QModelIndex &each : persistentIndexList()) {
            const VXManagedObjectID objectID =
                known.at(isRemovedHere && each.row() >= at ? each.row() + gone : each.row());
            const int row = objectID.isNull() ? -1 : refresh.places.value(objectID, -1);
            if (row >= 0 && rowAt(row) == nullptr && _order.isEmpty())
                _held.insert(row, objectID);
            changePersistentIndex(each, row < 0 ? QModelIndex() : index(row));
        }
        Q_EMIT layoutChanged();
        beginRemoveRows({}, after, most - 1);
        _count = after;
        endRemoveRows();
    }
    if (_count > 0)
        Q_EMIT dataChanged(index(0), index(static_cast<int>(_count) - 1));
    _isTakingRows = false;
    noteSelected();
    Q_EMIT didRead();
}
