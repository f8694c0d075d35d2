#pragma once

#include "VXError.h"
#include "VXFoundObject.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <tuple>

class VXSQLiteConnection;

/**
 * A full-text index (SQLite, FTS5) over the metadata files of all syncs, in the user's caches. It may be lost at any
 * time, since it can be made again from the files. One thread at a time; any number of processes, of which one writes
 * at a time.
 */
class VX_EXPORT VXSearchIndex
{
public:
    /** Opens the index and creates it if need be; one that is damaged, or of another version, is made anew. Null on
     *  failure. */
    static std::unique_ptr<VXSearchIndex> open(VXError *error = nullptr);
    /** Opens the index for searching only, even where nothing can be written. Null, without an error, when there is
     *  none yet. */
    static std::unique_ptr<VXSearchIndex> openExisting(VXError *error = nullptr);
    static bool isDamage(const VXError &error);
    /** Removes the index if the failure says that it is damaged, so that it is made anew. Returns true if it was
     *  removed. */
    static bool discardIfDamaged(const VXError &error);
    static void discard();
    ~VXSearchIndex();
    static QString path();
    /** Identifies the index file: no other file that is ever at its path has the same mark. */
    using FileMark = std::tuple<quint64, quint64, qint64>; // device, inode (which may be reused) and time of birth
    FileMark fileMark() const { return _file; }
    /** The mark of the file that is at the path now. */
    static FileMark presentFileMark();
    /** False once another file, or none, is at the path. */
    bool isCurrent() const { return presentFileMark() == _file; }

    // -- The contents, by the identifier of the sync ("folder") and the names of its files
    /** False after a beginChanges() without endChanges(): files and index may differ. */
    bool isComplete(const QString &folder, VXError *error);
    /** Whether all folders are complete, and settleAll() has named them since the index was made. */
    bool isAllComplete(VXError *error);
    /** Says that these are all the folders, so that the index is complete once each of them is. False, without an
     *  error, when one of them is not complete. */
    bool settleAll(const QStringList &folders, VXError *error);
    /** Whether the indexed words are those of the entries. False, with an error, when the index is damaged, or when
     *  this cannot be determined. */
    bool isSound(VXError *error);
    /** Whether the index has entries that belong to no folder. */
    bool hasStrays(VXError *error);
    /** The number of the folder's files that are in the index; -1 on failure. */
    qint64 count(const QString &folder, VXError *error);
    /** To be called before files are changed: the folder is not complete from then on. */
    bool beginChanges(const QString &folder, VXError *error);
    /** To be called once all changes are in the index: the folder is complete again. */
    bool endChanges(const QString &folder, VXError *error);
    /** Another one after each of those, by which an older copy of the index is known. Null without one, and on failure. */
    QByteArray stamp(const QString &folder, VXError *error);
    /** Once most of the file is free, as after a mass deletion, makes it anew without what was taken out. Waits for nobody: while others read
     *  or write the index, which keeps its log growing, and in large indexes, for which others would have to wait, nothing is done. */
    void giveBackFree();
    /** Takes what is in a folder out. */
    bool removeFolder(const QString &folder, VXError *error);
    /** Removes all entries of a folder and the folder itself. settleAll() has to name the remaining folders anew. */
    bool forgetFolder(const QString &folder, VXError *error);
    /** The identifiers of all folders; empty on failure, too. */
    QStringList folders(VXError *error);

    struct Change
    {
        QString name;
        std::optional<QVariantMap> values; // none: the file is gone
    };
    /** Applies all of the changes or none. If several have the same name, the last one counts. */
    bool apply(const QString &folder, const QList<Change> &changes, VXError *error);
    /** Whether it has of that file what `change` says, with its addresses. None on failure. */
    std::optional<bool> says(const QString &folder, const Change &change, VXError *error);
    /** To be called around a large number of changes: between the two, FTS5 does not merge the segments that each
     *  change adds; they are merged later, along with those of later changes. */
    bool beginMany(VXError *error) { return setMerging(false, error); }
    bool endMany(VXError *error) { return setMerging(true, error); }

    // -- Searching
    /** What to search. */
    struct Scope
    {
        QString kind = {};            // null for all
        bool isTrashIncluded = false; // whether messages in the trash are found, too
    };
    /**
     * Objects that have a word beginning with each of the words given (letters are compared as VXSearchTerms::folded() has them),
     * or a phone number that ends with the digits, if there are four at least. Whole words and numbers first; then those that have
     * some of it as words, and four digits or more as the end of a number. Among each of these contacts, what else has no date,
     * then the latest. After all these, records of a number or e-mail address that a contact has, by the words of both: of up to
     * 10,000 contacts, and in the first 64 ways to part the words between a contact and a record. None on failure, and for more than
     * 32 words or 1,000 characters. A record is found by the names that it was recorded with as well as by those that its contacts
     * have now, and its title has the latter.
     */
    std::optional<QList<VXFoundObject>> find(const QString &words, const Scope &scope, qsizetype limit, VXError *error);
    /** What the index knows of an object; none when it is not in the index, and on failure. */
    std::optional<VXFoundObject> object(const QUrl &uri, VXError *error);

private:
    explicit VXSearchIndex(std::unique_ptr<VXSQLiteConnection> connection);
    static std::unique_ptr<VXSearchIndex> made(std::unique_ptr<VXSQLiteConnection> connection);
    std::optional<qint64> number(const QString &sql, const QString &folder, VXError *error);
    bool runFor(const QString &folder, const QString &sql, VXError *error);
    bool inTransaction(const std::function<bool(VXError *)> &work, VXError *error);
    bool setComplete(const QString &folder, bool isComplete, VXError *error);
    bool setMerging(bool isMerging, VXError *error);

    std::unique_ptr<VXSQLiteConnection> _connection;
    const FileMark _file;
};
