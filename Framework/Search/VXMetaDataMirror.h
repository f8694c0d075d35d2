#pragma once

#include "VXManagedObject.h"
#include "VXMetaDataFolder.h"
#include "VXMetaDataIndexer.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <atomic>
#include <optional>

/** How many files a pass treated in which way. */
struct VXMetaDataCounts
{
    qint32 added = 0;     // written for objects that had none
    qint32 updated = 0;   // rewritten
    qint32 unchanged = 0; // found current
    qint32 orphaned = 0;  // of no object
    qint32 errors = 0;    // object without metadata, or old file that could not be removed

    friend bool operator==(const VXMetaDataCounts &, const VXMetaDataCounts &) = default;
};

/**
 * Keeps the files of one entity's objects up to date, one by one, and counts what was done. One thread at a time; any
 * thread may read the counts.
 */
class VXMetaDataMirror
{
public:
    /** `modificationDateKey`: the attribute that holds the date of an object's last change. */
    VXMetaDataMirror(const QString &identifier, const QString &modificationDateKey);

    VXMetaDataFolder &folder() { return _folder; }
    const VXMetaDataFolder &folder() const { return _folder; }
    VXMetaDataIndexer &indexer() { return _indexer; }
    bool isIndexStillThere() const { return _indexer.isStillThere(); }

    /** Keeps folder and index open during its lifetime. */
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

    /** Writes the object's file if it is missing or older than the object. False when it could not be written. */
    bool synchronizeFile(const QString &name, const VXManagedObject &object);
    /** Whether a stored object has a file of that name that is not older than the object, and nothing else is due for
     *  it. For an object without date any file is current. */
    bool isCurrent(qint64 number, const char *name, std::optional<qint64> date) const;
    /** Counts files that were found to be current. */
    void countUnchanged(qsizetype count) { _unchanged += qint32(count); }
    /** The values of the object's file; none for an object without metadata. */
    std::optional<QVariantMap> valuesOf(const VXManagedObject &object) const;
    /** Writes the file anew. False without metadata, and when the old file cannot be removed. */
    bool writeFile(const QString &name, const VXManagedObject &object) { return writeFile(name, object, false); }
    /** Removes a file that has no object. A file that no sync can have written goes to the trash. */
    void removeOrphan(const QString &name);
    /** Whether every file that was to be written or removed since the present Use began was. */
    bool isWhole() const { return _isWhole; }
    /** Sets the objects whose files count as outdated whatever their dates. */
    void setOwed(VXMetaDataDebt::Owed owed) { _owed = std::move(owed); }
    /** Sets whether files written by an earlier generation of the program count as outdated too. */
    void setChecksGenerations(bool checks) { _checksGenerations = checks; }
    /** Whether a file could not be written because the folder was removed. */
    bool isFolderGone() const { return _isFolderGone; }

    // -- Ahead of a pass, which then counts what was done here
    /** Writes the file of an object that was just saved. */
    void writeAhead(const VXManagedObject &object);
    /** Removes the file of an object that was just deleted. */
    void removeAhead(const VXManagedObjectID &objectID);

private:
    enum class Ahead { Added, Updated };

    bool isCurrent(const VXManagedObject &object, qint64 fileTime) const;
    /** Whether its file is of an earlier generation of the program and says what one of this would. */
    bool isOnlyOutdated(const QString &name, const VXManagedObject &object, qint64 fileTime) const;
    /** Also when that is not to be looked at. */
    bool isOfPresentGeneration(const QString &name) const;
    /** Whether a file's time is not before the object's date, or is the latest that a file can have; true for an object
     *  without date. */
    bool isAsLate(qint64 fileTime, std::optional<qint64> date) const;
    /** Milliseconds since 1970; none for an object without date. */
    std::optional<qint64> modificationTime(const VXManagedObject &object) const;
    /** `isFree`: nothing has that name yet. */
    bool writeFile(const QString &name, const VXManagedObject &object, bool isFree);
    bool removeFile(const QString &name, const char *operation);

    const QString _identifier;
    const QString _modificationDateKey;
    VXMetaDataFolder _folder;
    VXMetaDataIndexer _indexer{_identifier, _folder};
    QHash<qint64, Ahead> _ahead; // files written since the last pass, by the object's number
    qint32 _removedAhead = 0;
    VXMetaDataDebt::Owed _owed;
    bool _checksGenerations = false;
    mutable std::optional<qint64> _latestTime; // of the folder's files; determined when first needed
    bool _isFolderGone = false;
    bool _isWhole = true;
    std::atomic<qint32> _added{0}, _updated{0}, _unchanged{0}, _orphaned{0}, _errors{0};
};
