#pragma once

#include "VXManagedObject.h"
#include "VXMetaDataFolder.h"
#include "VXMetaDataIndexer.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <atomic>
#include <optional>

/** What became of the files in a pass. */
struct VXMetaDataCounts
{
    qint32 added = 0;     // written for objects that had none
    qint32 updated = 0;   // rewritten
    qint32 unchanged = 0; // found current
    qint32 orphaned = 0;  // without object
    qint32 errors = 0;    // without metadata, or in the way of a new one

    friend bool operator==(const VXMetaDataCounts &, const VXMetaDataCounts &) = default;
};

/**
 * The files of one entity's objects, each brought up to date by itself, and the count of what was done. One thread at a time;
 * the counts may be read by any.
 */
class VXMetaDataMirror
{
public:
    /** `modificationDateKey`: of the attribute with the date of an object's last change. */
    VXMetaDataMirror(const QString &identifier, const QString &modificationDateKey);

    VXMetaDataFolder &folder() { return _folder; }
    const VXMetaDataFolder &folder() const { return _folder; }
    VXMetaDataIndexer &indexer() { return _indexer; }
    bool isIndexStillThere() const { return _indexer.isStillThere(); }

    /** Has folder and index open for its length. */
    class Use
    {
    public:
        explicit Use(VXMetaDataMirror &mirror);
        ~Use();
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

    private:
        VXMetaDataMirror &_mirror;
    };

    VXMetaDataCounts counts() const;
    void resetCounts();

    /** Writes the object's file if it is not there or older than the object. False when it could not be written. */
    bool synchronizeFile(const QString &name, const VXManagedObject &object);
    /** Whether a stored object has a file of that name that is not older than the object, and nothing else is due for it. For one
     *  without date any file will do. */
    bool isCurrent(qint64 number, const char *name, std::optional<qint64> date) const;
    /** Counts files that were found current. */
    void countUnchanged(qsizetype count) { _unchanged += qint32(count); }
    /** What the object's file is to say; none without metadata. */
    std::optional<QVariantMap> valuesOf(const VXManagedObject &object) const;
    /** Writes it anew. False without metadata, and when the old file cannot be removed. */
    bool writeFile(const QString &name, const VXManagedObject &object) { return writeFile(name, object, false); }
    /** Removes a file without object; what is no file of a sync's goes to the trash. */
    void removeOrphan(const QString &name);
    /** Since the use of it began: whether every file could be written and removed that was to be. */
    bool isWhole() const { return _isWhole; }
    /** Objects whose files are not to be taken for current by their dates. */
    void setOwed(VXMetaDataDebt::Owed owed) { _owed = std::move(owed); }
    /** Whether those that an earlier generation of the program wrote are not either. */
    void setChecksGenerations(bool checks) { _checksGenerations = checks; }
    /** Whether a file could not be written because the folder was removed. */
    bool isFolderGone() const { return _isFolderGone; }

    // -- Ahead of a pass, which then counts what was done here
    /** Writes the file of an object that was saved. */
    void writeAhead(const VXManagedObject &object);
    /** Removes that of one that was deleted. */
    void removeAhead(const VXManagedObjectID &objectID);

private:
    enum class Ahead { Added, Updated };

    bool isCurrent(const VXManagedObject &object, qint64 fileTime) const;
    /** Whether its file is of an earlier generation of the program and says what one of this would. */
    bool isOnlyOutdated(const QString &name, const VXManagedObject &object, qint64 fileTime) const;
    /** Also when that is not to be looked at. */
    bool isOfPresentGeneration(const QString &name) const;
    /** Whether a file of that time is not older than an object of that date, or as old as a file can be; for none, always. */
    bool isAsLate(qint64 fileTime, std::optional<qint64> date) const;
    /** Milliseconds since 1970; none for an object without date. */
    std::optional<qint64> modificationTime(const VXManagedObject &object) const;
    /** `isFree`: nothing has that name. */
    bool writeFile(const QString &name, const VXManagedObject &object, bool isFree);
    bool removeFile(const QString &name, const char *operation);

    const QString _identifier;
    const QString _modificationDateKey;
    VXMetaDataFolder _folder;
    VXMetaDataIndexer _indexer{_identifier, _folder};
    QHash<qint64, Ahead> _ahead; // by the object's number: files written since the last pass
    qint32 _removedAhead = 0;
    VXMetaDataDebt::Owed _owed;
    bool _checksGenerations = false;
    mutable std::optional<qint64> _latestTime; // of the folder's files, once it mattered
    bool _isFolderGone = false;
    bool _isWhole = true;
    std::atomic<qint32> _added{0}, _updated{0}, _unchanged{0}, _orphaned{0}, _errors{0};
};
