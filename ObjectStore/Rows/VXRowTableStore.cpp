#include "VXRowTableStore.h"

#include "VXPropertyList.h"
#include "VXRowFetch.h"

using namespace Qt::StringLiterals;

/** The rows that were found, in the tables as they were at that time. */
class VXRowTableStore::Cursor final : public VXRowCursor
{
public:
    Cursor(std::unique_ptr<VXRowFetch> fetch, bool needsRows)
        : VXRowCursor(fetch->isExact()), _fetch(std::move(fetch)), _needsRows(needsRows), _rows(_fetch->run())
    {
    }

    Step next(VXFetchedRow *row, VXError *) override
    {
        if (_next == _rows.size())
            return Step::End;
        const VXFetchedRow &found = *_rows[_next++];
        *row = {found.objectID, _needsRows ? found.row : nullptr};
        return Step::Row;
    }

private:
    const std::unique_ptr<VXRowFetch> _fetch; // keeps the rows
    const bool _needsRows;
    const std::vector<const VXFetchedRow *> _rows;
    size_t _next = 0;
};

/** Holds the turn until it is destroyed; the commit applies what was checked, in place unless somebody is reading. */
class VXRowTableStore::Transaction final : public VXStoreTransaction
{
public:
    Transaction(VXRowTableStore &store, WriterTurn turn, const VXSaveRequest &request)
        : _store(store), _turn(std::move(turn)), _request(request)
    {
    }

    bool commit(VXError *) override
    {
        {
            const VXMutexLocker lock(_store._lock);
            _store._tables.apply(_request);
        }
        if (_request.metadata)
            _store.markMetadataSaved(*_request.metadata);
        return true;
    }

private:
    VXRowTableStore &_store;
    const WriterTurn _turn;
    const VXSaveRequest _request;
};

VXRowTableStore::VXRowTableStore(const VXManagedObjectModel::Ptr &model)
    : VXRowTableStore(VXStoreType::InMemory, {}, model)
{
}

VXRowTableStore::VXRowTableStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model)
    : VXPersistentStore(type, path, model)
{
}

bool VXRowTableStore::open(VXError *)
{
    setOpened(initialMetadata());
    return true;
}

bool VXRowTableStore::refresh(VXError *)
{
    return true;
}

VXRowTableStore::WriterTurn VXRowTableStore::waitForTurn()
{
    return WriterTurn(_writing);
}

VXRowTables VXRowTableStore::tables() const
{
    const VXMutexLocker lock(_lock);
    return _tables;
}

void VXRowTableStore::setTables(const VXRowTables &tables)
{
    VXRowTables before = tables; // destroyed after the lock is released
    const VXMutexLocker lock(_lock);
    std::swap(_tables, before);
}

std::unique_ptr<VXRowCursor> VXRowTableStore::fetch(const VXFetchRequest &request, bool needsRows, VXError *error)
{
    if (!refresh(error))
        return nullptr;
    return std::make_unique<Cursor>(std::make_unique<VXRowFetch>(tables(), request), needsRows);
}

std::optional<qint64> VXRowTableStore::count(const VXFetchRequest &request, VXError *error)
{
    if (!refresh(error))
        return std::nullopt;
    VXFetchRequest unordered = request;
    unordered.sortDescriptors.clear();
    VXRowFetch rows(tables(), unordered);
    return rows.isExact() ? std::optional(qint64(rows.run().size())) : std::nullopt;
}

VXStoreRow::Ptr VXRowTableStore::row(const VXManagedObjectID &objectID, VXError *error)
{
    if (!refresh(error))
        return nullptr;
    const VXMutexLocker lock(_lock);
    const VXFetchedRow *const found = _tables.find(objectID);
    return found == nullptr ? nullptr : found->row;
}

bool VXRowTableStore::related(
    const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
    const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink, VXError *error)
{
    if (!refresh(error))
        return false;
    const VXRowTables now = tables();
    for (const VXManagedObjectID &source : sources) {
        for (const VXManagedObjectID &target : now.targets(source, relationship)) {
            if (now.find(target) != nullptr)
                sink(source, target);
        }
    }
    return true;
}

std::optional<qint64> VXRowTableStore::reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *)
{
    return takeNumbers(root, count);
}

qint64 VXRowTableStore::takeNumbers(const VXEntityDescription &root, qint64 count, qint64 highest)
{
    const VXMutexLocker lock(_lock);
    _tables.raiseHighestNumber(root, highest);
    const qint64 first = _tables.highestNumber(root) + 1;
    _tables.raiseHighestNumber(root, first + count - 1);
    return first;
}

std::unique_ptr<VXStoreTransaction> VXRowTableStore::save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                                          VXError *error)
{
    // What no file could hold is refused without one too.
    if (request.metadata && type() == VXStoreType::InMemory &&
        VXPropertyList::toData(changedMetadata({}, *request.metadata), VXPropertyList::Format::Binary, error).isNull())
        return nullptr;
    return saveInTurn(waitForTurn(), request, conflicts, error);
}

std::unique_ptr<VXStoreTransaction> VXRowTableStore::saveInTurn(WriterTurn turn, const VXSaveRequest &request,
                                                                QList<VXRowConflict> *conflicts, VXError *error)
{
    if (!canSave(request, conflicts, error))
        return nullptr;
    return std::make_unique<Transaction>(*this, std::move(turn), request);
}

bool VXRowTableStore::canSave(const VXSaveRequest &request, QList<VXRowConflict> *conflicts, VXError *error) const
{
    const VXRowTables now = tables();
    const QList<VXRowConflict> found = now.conflicts(request);
    conflicts->append(found);
    if (!found.isEmpty())
        return false;
    if (!now.hasInserted(request.changes))
        return true;
    VXSetError(error,
               VXObjectStoreError(VXObjectStoreErrorCode::ReferentialIntegrity, u"The objects cannot be saved."_s,
                                  u"A new object has the identifier of one that is stored."_s, path()));
    return false;
}

QStringList VXRowTableStore::check()
{
    VXError error;
    QList<VXBrokenReference> broken;
    if (!findBrokenReferences(&broken, &error))
        return {error.description()};
    QStringList found;
    for (const VXBrokenReference &each : std::as_const(broken))
        found.append(each.description());
    return found;
}

bool VXRowTableStore::findBrokenReferences(QList<VXBrokenReference> *found, VXError *error)
{
    if (!refresh(error))
        return false;
    *found = tables().brokenReferences();
    return true;
}

bool VXRowTableStore::copyTo(const QString &, VXError *error)
{
    VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::IncompatibleStoreType,
                                         u"The store cannot be copied."_s, u"A store in memory has no file."_s));
    return false;
}
