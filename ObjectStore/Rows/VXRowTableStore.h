#pragma once

#include "VXPersistentStore.h"
#include "VXRowTables.h"

#include <mutex>

/** A store that keeps its rows in memory; this class itself has no data file. Readers wait for a save only while its
 *  commit puts the checked changes into the tables, which takes as long as there are many. */
class VXRowTableStore : public VXPersistentStore
{
public:
    explicit VXRowTableStore(const VXManagedObjectModel::Ptr &model);

    bool open(VXError *error) override;
    std::unique_ptr<VXRowCursor> fetch(const VXFetchRequest &request, bool needsRows, VXError *error) override;
    std::optional<qint64> count(const VXFetchRequest &request, VXError *error) override;
    VXStoreRow::Ptr row(const VXManagedObjectID &objectID, VXError *error) override;
    bool related(const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
                 const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink,
                 VXError *error) override;
    std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) override;
    std::unique_ptr<VXStoreTransaction> save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                             VXError *error) override;
    QStringList check() override;
    /** Fails: there is no file. */
    bool copyTo(const QString &path, VXError *error) override;

protected:
    /** Held by the only save at a time, on the thread that began it. */
    using WriterTurn = std::unique_lock<VXMutex>;

    VXRowTableStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model);

    /** Called before anything is read: reads what other processes wrote. */
    virtual bool refresh(VXError *error);
    /** The rest of a save, once it has its turn. */
    virtual std::unique_ptr<VXStoreTransaction> saveInTurn(WriterTurn turn, const VXSaveRequest &request,
                                                           QList<VXRowConflict> *conflicts, VXError *error);
    /** False, with the conflicts or the error, when the save is not possible. */
    bool canSave(const VXSaveRequest &request, QList<VXRowConflict> *conflicts, VXError *error) const;

    bool findBrokenReferences(QList<VXBrokenReference> *found, VXError *error) override;

    WriterTurn waitForTurn();
    VXRowTables tables() const;
    void setTables(const VXRowTables &tables);
    /** The first of `count` numbers above all that were given out, by this store and, up to `highest`, by others. */
    qint64 takeNumbers(const VXEntityDescription &root, qint64 count, qint64 highest = 0);

private:
    class Cursor;
    class Transaction;

    VXMutex _writing; // guards nothing: whoever holds it may save
    mutable VXMutex _lock;
    VXRowTables _tables VX_GUARDED_BY(_lock);
};
