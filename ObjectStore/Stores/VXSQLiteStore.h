#pragma once

#include "VXPersistentStore.h"
#include "VXSQLiteConnectionPool.h"
#include "VXSQLiteFile.h"
#include "VXSQLiteRowLayout.h"
#include "VXSQLiteSchema.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

/**
 * A store in an SQLite file (docs/FORMATS.md) with a write-ahead log: readers of any thread and process run beside the one
 * writer. A save that was committed survives the end of the process and, where the disk keeps its promises, a power cut.
 */
class VX_STORE_EXPORT VXSQLiteStore final : public VXPersistentStore
{
public:
    VXSQLiteStore(const QString &path, const VXManagedObjectModel::Ptr &model, const VXStoreOptions &options);
    ~VXSQLiteStore() override;

    /** Of a file that need not be open. @return empty on failure. */
    static QVariantMap metadataOfFile(const QString &path, VXError *error);

    bool open(VXError *error) override;
    bool fetch(const VXFetchRequest &request, bool needsRows, const std::function<void(VXFetchedRow)> &sink,
               bool *isExact, VXError *error) override;
    std::optional<qint64> count(const VXFetchRequest &request, VXError *error) override;
    VXStoreRow::Ptr row(const VXManagedObjectID &objectID, VXError *error) override;
    bool related(const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
                 const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink,
                 VXError *error) override;
    std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) override;
    std::unique_ptr<VXStoreTransaction> save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                             VXError *error) override;
    QStringList check() override;

    /** How many SQL statements were run. For measurements. */
    qint64 executedStatementCount() const { return _executions.load(std::memory_order_relaxed); }

private:
    class Transaction;
    class Saver;
    struct Query;

    // -- Opening
    bool openExisting(VXError *error);
    bool openForWriting(VXError *error);
    bool isUsable(const VXSQLiteFile::Contents &contents, VXError *error) const;
    bool isComplete(const VXSQLiteFile::Contents &contents) const;
    bool complete(VXError *error);
    void adopt(const VXSQLiteFile::Contents &contents);

    // -- Reading
    const VXSQLiteRowLayout &layout(const VXEntityDescription &entity) const
    {
        return *_layouts[size_t(entity.number())];
    }
    Query query(const VXFetchRequest &request) const;
    VXStoreRow::Ptr readRow(VXSQLiteConnection &connection, const VXManagedObjectID &objectID, VXError *error) const;
    VXError damage(const QString &reason) const;

    // -- Checking
    void findBrokenReferences(VXSQLiteConnection &connection, QStringList &found) const;
    void addReferences(VXSQLiteConnection &connection, const VXRelationshipDescription &relationship,
                       const QString &query, const QString &fault, QStringList &found) const;
    void findUnreadableRows(QStringList &found);

    const VXStoreOptions _options;
    VXSQLiteSchema _schema; // this and the layouts do not change once the store is open
    std::vector<std::unique_ptr<VXSQLiteRowLayout>> _layouts; // by the entity's place in the model
    std::atomic<qint64> _executions = 0;
    VXMutex _writing;                            // guards the writer: who holds it may save
    std::unique_ptr<VXSQLiteConnection> _writer; // null in a store that is read only
    VXSQLiteConnectionPool _readers;
};
