#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXSearchTerms.h"

#include <QtCore/QDateTime>
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
class VXSQLiteStatement;

/** An object that was found. */
struct VX_EXPORT VXFoundObject
{
    QUrl uri = {};      // x-coredata://STORE/ENTITY/pNUMBER
    QString kind = {};  // "contact", "message", "call"
    QString title = {}; // null for none, as the detail
    QString detail = {};
    QDateTime date = {}; // invalid for none

    /** By which the application opens it: "vxbook://STORE/ENTITY/pNUMBER". */
    QUrl url() const;
    /** The object's URI for such a URL; null for any other. */
    static QUrl uriForURL(const QUrl &url);
};

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
    using FileMark = std::tuple<quint64, quint64, qint64>;
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
    /** How many files of the folder are in it; -1 on failure. */
    qint64 count(const QString &folder, VXError *error);
    /** Before files are changed. */
    bool beginChanges(const QString &folder, VXError *error);
    /** After what was changed is in. */
    bool endChanges(const QString &folder, VXError *error);
    /** Takes what is in a folder out. */
    bool removeFolder(const QString &folder, VXError *error);
    /** And the folder, which is not to be any more. */
    bool forgetFolder(const QString &folder, VXError *error);
    /** Empty on failure, too. */
    QStringList folders(VXError *error);

    struct Change
    {
        QString name;
        std::optional<QVariantMap> values; // none: the file is gone
    };
    /** All of them or none. */
    bool apply(const QString &folder, const QList<Change> &changes, VXError *error);

    // -- Searching
    /**
     * Objects that have a word beginning with each of the words given (letters are compared as VXSearchTerms::folded() has them),
     * or a phone number that ends with the digits, if there are four at least. Whole words and numbers first; then those that have
     * some of it as words, and four digits or more as the end of a number. Among each of these what has no date (contacts), then
     * the latest. After all these, records of a number that a contact has, by the words of both: of up to 100 contacts. `kind`: null for all. None on failure, and for more than 32 words or 1,000 characters. A record's
     * title has the name of a contact for a bare number of its.
     */
    std::optional<QList<VXFoundObject>> find(const QString &words, const QString &kind, qsizetype limit,
                                             VXError *error);
    /** What is known of an object; none when it is not in the index, and on failure. */
    std::optional<VXFoundObject> object(const QUrl &uri, VXError *error);

private:
    explicit VXSearchIndex(std::unique_ptr<VXSQLiteConnection> connection);
    static std::unique_ptr<VXSearchIndex> openFile(VXError *error);
    static std::unique_ptr<VXSearchIndex> openReadOnly();
    std::optional<qint64> number(const QString &sql, const QString &folder, VXError *error);
    bool inTransaction(const std::function<bool(VXError *)> &work, VXError *error);
    bool takeOut(const QString &condition, const std::function<void(VXSQLiteStatement &)> &bind, VXError *error);
    bool put(qint64 folder, const Change &change, VXError *error);
    bool replace(qint64 folder, const Change &change, qint64 place, VXError *error);
    bool insert(qint64 folder, const Change &change, qint64 id, bool *isIn, VXError *error);
    static qint64 placeOf(const QVariantMap &values);
    std::optional<qint64> freeID(qint64 place, VXError *error);
    /** Numbers are kept so: those with the same end begin alike. */
    static QString reversed(const QString &text);
    bool putNumbers(qint64 id, const QVariantMap &values, VXError *error);
    bool run(VXSQLiteStatement &statement, VXError *error);
    bool setComplete(const QString &folder, bool isComplete, VXError *error);
    bool collect(VXSQLiteStatement &statement, qsizetype limit, QList<VXFoundObject> *found, VXError *error);
    bool collectWords(const QString &expression, qsizetype limit, QList<VXFoundObject> *found, VXError *error);
    bool collectNumbers(const QString &digits, const QString &kind, qsizetype limit, QList<VXFoundObject> *found,
                        VXError *error);

    bool collectReading(const VXSearchTerms::Reading &reading, const QString &kind, qsizetype limit,
                        QList<VXFoundObject> *found, VXError *error);

    // -- By their contacts
    struct FoundContact
    {
        qint64 id;
        quint32 words; // by which it was found, a bit for each
    };
    static constexpr qint64 undated = qint64(1) << 62; // IDs of what has no date begin here
    /** By words, and the ends that the number has. */
    bool collectOfContacts(const VXSearchTerms::Reading &reading, const QString &kind, qsizetype limit,
                           QList<VXFoundObject> *found, VXError *error);
    bool contactsWith(const QStringList &words, QList<qint64> *contacts, VXError *error);
    std::optional<QList<FoundContact>> contactsWithAny(const QStringList &words, VXError *error);
    std::optional<QStringList> numbersOf(const QList<qint64> &entries, VXError *error);
    bool recordsOfNumbers(const QStringList &numbers, const QString &kind, qsizetype limit, QList<qint64> *records,
                          VXError *error);
    bool recordsOfNumbersWith(const QStringList &words, const QStringList &numbers, const QString &kind,
                              qsizetype limit, QList<qint64> *records, VXError *error);
    bool collectEntries(const QList<qint64> &entries, qsizetype limit, QList<VXFoundObject> *found, VXError *error);
    bool collectNumbersIn(VXSQLiteStatement &statement, QList<qint64> *numbers, VXError *error);
    QString nameOfNumber(const QString &number);
    void nameParties(VXFoundObject *object);

    std::unique_ptr<VXSQLiteConnection> _connection;
    const FileMark _file; // device and inode, which is given again, and time of birth
};
