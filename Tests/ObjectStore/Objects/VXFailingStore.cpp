#include "VXFailingStore.h"

using namespace Qt::StringLiterals;

namespace {

/** Gives one row of a cursor and then fails; without any it fails at once. */
class FailingCursor final : public VXRowCursor
{
public:
    explicit FailingCursor(std::unique_ptr<VXRowCursor> rows) : VXRowCursor(rows->isExact()), _rows(std::move(rows)) {}

    Step next(VXFetchedRow *row, VXError *error) override
    {
        if (!std::exchange(_isRead, true) && _rows->next(row, error) == Step::Row)
            return Step::Row;
        VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::FileRead, u"broken"_s));
        return Step::Failed;
    }

private:
    const std::unique_ptr<VXRowCursor> _rows;
    bool _isRead = false;
};

class FailingTransaction final : public VXStoreTransaction
{
public:
    bool commit(VXError *error) override
    {
        VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::FileWrite, u"broken"_s));
        return false;
    }
};

} // namespace

bool VXFailingStore::fails(Call call, VXError *error) const
{
    if (call == failing)
        VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::FileRead, u"broken"_s));
    return call == failing;
}

std::unique_ptr<VXRowCursor> VXFailingStore::fetch(const VXFetchRequest &request, bool needsRows, VXError *error)
{
    if (fails(Call::Fetch, error))
        return nullptr;
    std::unique_ptr<VXRowCursor> rows = _store->fetch(request, needsRows, error);
    return failing == Call::Next ? std::make_unique<FailingCursor>(std::move(rows)) : std::move(rows);
}

std::optional<qint64> VXFailingStore::count(const VXFetchRequest &request, VXError *error)
{
    return fails(Call::Count, error) ? std::nullopt : _store->count(request, error);
}

VXStoreRow::Ptr VXFailingStore::row(const VXManagedObjectID &objectID, VXError *error)
{
    return fails(Call::Row, error) ? nullptr : _store->row(objectID, error);
}

bool VXFailingStore::related(
    const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
    const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink, VXError *error)
{
    return !fails(Call::Related, error) && _store->related(sources, relationship, sink, error);
}

std::optional<qint64> VXFailingStore::reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error)
{
    return fails(Call::Reserve, error) ? std::nullopt : _store->reserveNumbers(root, count, error);
}

std::unique_ptr<VXStoreTransaction> VXFailingStore::save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                                         VXError *error)
{
    if (fails(Call::Save, error))
        return nullptr;
    std::unique_ptr<VXStoreTransaction> transaction = _store->save(request, conflicts, error);
    return transaction && failing == Call::Commit ? std::make_unique<FailingTransaction>() : std::move(transaction);
}
