#pragma once

#include "VXPersistentStore.h"
#include "VXSQLiteConnectionPool.h"
#include "VXSQLiteFile.h"
#include "VXSQLiteQueryCache.h"
#include "VXSQLiteRowLayout.h"
#include "VXSQLiteSchema.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class VXAttributeDescription;
class VXSaveReferences;
class VXSQLiteRowReader;

/**
 * The value of one attribute of an object, as an integer or a date in milliseconds since 1970, UTC; none for no value.
 */
struct VXAttributeNumber
{
    VXManagedObjectID objectID;
    std::optional<qint64> number;
};

/**
 * A store in an SQLite file (docs/FORMATS.md) with a write-ahead log: readers of any thread and process run in parallel
 * with the one writer. A committed save survives the end of the process and, if the disk works as promised, a power
 * cut; one that is secured later survives that once secureSaves has returned, and no save is kept without those before it.
 */
class VX_STORE_EXPORT VXSQLiteStore final : public VXPersistentStore
{
public:
    VXSQLiteStore(const QString &path, const VXManagedObjectModel::Ptr &model, const VXStoreOptions &options);
    ~VXSQLiteStore() override;

    /** For a file that need not be open. @return empty on failure. */
    static QVariantMap metadataOfFile(const QString &path, VXError *error);

    bool open(VXError *error) override;
    void close() override;
    std::unique_ptr<VXRowCursor> fetch(const VXFetchRequest &request, bool needsRows, VXError *error) override;
    std::optional<qint64> count(const VXFetchRequest &request, VXError *error) override;
    VXStoreRow::Ptr row(const VXManagedObjectID &objectID, VXError *error) override;
    bool rows(const QList<VXManagedObjectID> &objectIDs, const std::function<void(VXFetchedRow)> &sink,
              VXError *error) override;
    bool related(const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
                 const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink,
                 VXError *error) override;
    /** The first objects of an entity and its subentities with a greater number, in the order of numbers. Reads nothing
     *  else of them. None, with an error, on failure. */
    std::optional<QList<VXAttributeNumber>> numbersBehind(qint64 afterNumber, qsizetype limit,
                                                          const VXEntityDescription &entity,
                                                          const VXAttributeDescription &attribute, VXError *error);
    std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) override;
    std::unique_ptr<VXStoreTransaction> save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                             VXError *error) override;
    bool secureSaves(VXError *error) override;
    QStringList check() override;
    /**
     * Finds values that no object could have stored in their column, so another program must have written them; reading
     * changes them. Lists some for each attribute, as texts. False, with an error, on failure.
     */
    bool findUnfitValues(QStringList *found, VXError *error);
    bool copyTo(const QString &path, VXError *error) override;

    /** The number of SQL statements that were run. For measurements. */
    qint64 executedStatementCount() const { return _executions.load(std::memory_order_relaxed); }

private:
    friend class VXStoreRowCopy; // it works on two files at the same time
    class Cursor;
    class RowsInOrder;
    class Transaction;
    class Saver;
    struct Query;

    // -- Opening
    std::optional<VXSQLiteFile::Contents> openExisting(VXError *error);
    std::optional<VXSQLiteFile::Contents> openForWriting(const VXSQLiteFile::Contents &found, VXError *error);
    bool isUsable(const VXSQLiteFile::Contents &contents, VXError *error) const;
    bool isComplete(const VXSQLiteFile::Contents &contents) const;
    std::optional<VXSQLiteFile::Contents> complete(const VXSQLiteFile::Contents &found, VXError *error) const;
    void adopt(const VXSQLiteFile::Contents &contents);

    // -- Reading
    const VXSQLiteRowLayout &layout(const VXEntityDescription &entity) const
    {
        return *_layouts[size_t(entity.number())];
    }
    Query query(const VXFetchRequest &request, VXSQLiteQueryCache::Wanted wanted);
    Query compiled(const VXFetchRequest &request, VXSQLiteQueryCache::Wanted wanted) const;
    /** The IDs of the first objects in the order of one indexed text, without sorting all. Null for any other request, and on failure,
     *  for which the query of any request serves. */
    std::unique_ptr<VXRowCursor> firstInOrder(const VXFetchRequest &request);
    bool readRows(const VXEntityDescription &root, const QList<VXManagedObjectID> &objectIDs,
                  const std::function<void(VXFetchedRow)> &sink, VXError *error);
    /** Reads the present row of a statement; without a reader only the ID, from the layout's columns. */
    bool readFetched(const VXSQLiteRowLayout &rowLayout, const VXSQLiteStatement &statement, VXSQLiteRowReader *reader,
                     VXFetchedRow *fetched, VXError *error) const;
    VXStoreRow::Ptr readRow(VXSQLiteConnection &connection, const VXManagedObjectID &objectID, VXError *error) const;
    /** Selects what leads from a relationship's destination to its source objects. `wanted` is the condition on their
     *  numbers (VXObjectNumbers). Columns: the identity of the related object, then the number of the source. */
    static QString relatedQuery(const VXRelationshipDescription &relationship, const QString &wanted);

    // -- Saving (VXSQLiteStore+References.cpp): references to missing objects, checked once everything is written
    bool findReferenceConflicts(const VXSaveRequest &request, const VXSaveReferences &concerned,
                                QList<VXRowConflict> *conflicts, VXError *error) const;
    bool findMissing(const VXEntityDescription &root, const QList<VXManagedObjectID> &targets,
                     QList<VXRowConflict> *conflicts, VXError *error) const;
    bool findReferences(const VXRelationshipDescription &relationship, const QList<VXManagedObjectID> &deleted,
                        QHash<qint64, QList<VXRowReference>> *references, VXError *error) const;
    /** To be called before the deleted objects, and their pairs, are removed. */
    bool findDenied(const VXSaveRequest &request, const VXSaveReferences &concerned, QList<VXRowConflict> *conflicts,
                    VXError *error) const;
    bool findOneSided(const VXSaveRequest &request, const VXRelationshipDescription &relationship,
                      const QList<VXManagedObjectID> &changed, QList<VXRowConflict> *conflicts, VXError *error) const;
    bool isWritable(VXError *error) const;
    bool isInPlace(VXError *error) const;
    bool overwriteLog(VXError *error);
    bool lengthenLog(VXError *error);
    void mergeLog();
    VXError damage(const QString &reason) const;

    // -- Checking
    /** Selects references without one back: the identity of the source, t0, and the number it contains. Null where one
     *  end is computed from the other. */
    static QString oneSidedQuery(const VXRelationshipDescription &relationship);
    bool findBrokenReferences(QList<VXBrokenReference> *found, VXError *error) override;
    bool findMissingTargets(const VXRelationshipDescription &relationship, QList<VXBrokenReference> *found,
                            VXError *error) override;
    bool addReferences(VXSQLiteConnection &connection, const VXRelationshipDescription &relationship,
                       const QString &query, bool isTargetThere, QList<VXBrokenReference> *found, VXError *error) const;
    void findUnreadableRows(QStringList &found);
    struct UnfitValue;
    /** `limit`: per attribute; -1 for all. */
    bool forEachUnfitValue(VXSQLiteConnection &connection, int limit,
                           const std::function<void(const UnfitValue &)> &each, VXError *error) const;
    bool mendValues(QStringList *mended, VXError *error) override;
    QString mendValue(const UnfitValue &unfit, VXError *error);

    const VXStoreOptions _options;
    VXSQLiteSchema _schema; // this and the layouts do not change once the store is open
    std::vector<std::unique_ptr<VXSQLiteRowLayout>> _layouts; // by the entity's number in the model
    std::atomic<qint64> _executions = 0;
    VXSQLiteQueryCache _queries;
    VXMutex _writing;                            // guards the writer: whoever holds it may save
    std::unique_ptr<VXSQLiteConnection> _writer; // null in a store that is read only or closed
    // These are guarded by _writing as well.
    bool _isUnsecured = false; // something that was saved
    bool _isLogLong = false;   // it may be, until it was merged
    bool _isMerging = false;   // the thread works
    std::thread _merging;      // merges the log
    VXSQLiteConnectionPool _readers;
};
