#pragma once

#include "VXPersistentStore.h"

/** Another store, of which every call of one kind can be made to fail. */
class VXFailingStore final : public VXPersistentStore
{
public:
    enum class Call { None, Fetch, Next, Count, Row, Related, Reserve, Save, Commit };

    VXFailingStore(const std::shared_ptr<VXPersistentStore> &store, const VXManagedObjectModel::Ptr &model)
        : VXPersistentStore(store->type(), store->path(), model), _store(store)
    {
    }

    Call failing = Call::None;

    bool open(VXError *) override
    {
        setOpened(_store->metadata());
        return true;
    }
    std::unique_ptr<VXRowCursor> fetch(const VXFetchRequest &request, bool needsRows, VXError *error) override;
    std::optional<qint64> count(const VXFetchRequest &request, VXError *error) override;
    VXStoreRow::Ptr row(const VXManagedObjectID &objectID, VXError *error) override;
    bool related(const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
                 const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink,
                 VXError *error) override;
    std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) override;
    std::unique_ptr<VXStoreTransaction> save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                             VXError *error) override;
    QStringList check() override { return _store->check(); }
    bool copyTo(const QString &path, VXError *error) override { return _store->copyTo(path, error); }

protected:
    bool findBrokenReferences(QList<VXBrokenReference> *, VXError *) override { return true; }

private:
    bool fails(Call call, VXError *error) const;

    const std::shared_ptr<VXPersistentStore> _store;
};
