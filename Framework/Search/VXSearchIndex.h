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
 * An index over the metadata files of all syncs (SQLite, FTS5) in the user's caches. It can be lost at any time: it is made
 * again from the files. One thread at a time; any number of processes, of which one writes at a time.
 */
class VX_EXPORT VXSearchIndex
{
public:
    /** Made if need be; one that is damaged, or of another version, is made anew. Null on failure. */
    static std::unique_ptr<VXSearchIndex> open(VXError *error = nullptr);
    /** For searching only, also where nothing can be written. Null, without an error, when there is none yet. */
    static std::unique_ptr<VXSearchIndex> openExisting(VXError *error = nullptr);
    static bool isDamage(const VXError &error);
    /** Removes it after such a failure, so that it is made anew: true; nothing after any other. */
    static bool discardIfDamaged(const VXError &error);
    static void discard();
    ~VXSearchIndex();
    static QString path();
    /** Which file it is; no other that ever lies there is the same. */
    using FileMark = std::tuple<quint64, quint64, qint64>; // device and inode, which is given again, and time of birth
    FileMark fileMark() const { return _file; }
    /** Of what lies there now. */
    static FileMark presentFileMark();
    /** False once another file lies there, or none. */
    bool isCurrent() const { return presentFileMark() == _file; }

    // -- What is in it, by the identifier of the sync and the names of its files
    /** False after a start that had no end: files and index may differ. */
    bool isComplete(const QString &folder, VXError *error);
    /** Whether all folders are complete, and somebody has said since it was made which those are. */
    bool isAllComplete(VXError *error);
    /** There are these folders, and no other is to be waited for once each of them is complete. False, without an error, when one
     *  is not. */
    bool settleAll(const QStringList &folders, VXError *error);
    /** Whether the words are those of the entries. False, with an error, when it is damaged, and when nobody can say. */
    bool isSound(VXError *error);
    /** Whether it has entries of no folder. */
    bool hasStrays(VXError *error);
    /** How many files of the folder are in it; -1 on failure. */
    qint64 count(const QString &folder, VXError *error);
    /** Before files are changed. */
    bool beginChanges(const QString &folder, VXError *error);
    /** After what was changed is in. */
    bool endChanges(const QString &folder, VXError *error);
    /** Another one after each of those, by which an older copy of the index is known. Null without one, and on failure. */
    QByteArray stamp(const QString &folder, VXError *error);
    /** Takes what is in a folder out. */
    bool removeFolder(const QString &folder, VXError *error);
    /** And the folder, which is not to be any more. Whether those that are left are all is to be said anew (settleAll). */
    bool forgetFolder(const QString &folder, VXError *error);
    /** Empty on failure, too. */
    QStringList folders(VXError *error);

    struct Change
    {
        QString name;
        std::optional<QVariantMap> values; // none: the file is gone
    };
    /** All of them or none. Of several with one name the last one counts. */
    bool apply(const QString &folder, const QList<Change> &changes, VXError *error);
    /** Whether it has of that file what `change` says, with its addresses. None on failure. */
    std::optional<bool> says(const QString &folder, const Change &change, VXError *error);
    /** Around many changes: the pieces that each of them leaves are put together later, with those of what comes after. */
    bool beginMany(VXError *error) { return setMerging(false, error); }
    bool endMany(VXError *error) { return setMerging(true, error); }

    // -- Searching
    /** Among what. */
    struct Scope
    {
        QString kind = {};            // null for all
        bool isTrashIncluded = false; // messages there are found, too
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
    /** What is known of an object; none when it is not in the index, and on failure. */
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
