#pragma once

#include "VXError.h"
#include "VXFileDescriptor.h"
#include "VXObjectStoreExport.h"
#include "VXSQLiteStatement.h"
#include "VXSQLiteTrace.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

struct sqlite3;

/** A connection to an SQLite file, with its prepared statements. One thread at a time. */
class VX_STORE_EXPORT VXSQLiteConnection
{
public:
    enum class Access {
        Create,    // the file may be missing
        Write,     // the file must exist
        Read,      // reads a file that others may write; the files that SQLite makes beside it remain
        Query,     // the same, but the last connection merges the log into the file and removes the others
        Immutable, // reads a file that nobody writes, in a folder where nothing can be created
    };

    /** `executions`, if given, counts executed statements, and must outlive the connection. @return null on failure. */
    static std::unique_ptr<VXSQLiteConnection> open(const QString &path, Access access,
                                                    std::chrono::milliseconds busyTimeout,
                                                    std::atomic<qint64> *executions, VXError *error);
    ~VXSQLiteConnection();

    /**
     * Makes the call while no connection of this process uses the file; returns false, without the call, when one has
     * it open. Needed because opening and closing a file releases all locks of the process on it; then others could
     * delete the log while it is being written.
     */
    static bool whileNotOpenHere(const QString &path, const std::function<void()> &call);

    VXSQLiteConnection(const VXSQLiteConnection &) = delete;
    VXSQLiteConnection &operator=(const VXSQLiteConnection &) = delete;

    /** Prepared when first used. A statement can be lent only once at a time. False on failure. */
    [[nodiscard]] VXSQLiteStatement statement(const QString &sql, VXError *error);
    /** Prepares and runs a statement without values. */
    bool execute(const QString &sql, VXError *error);
    /** The same for statements that may take long: `goesOn` is asked every `steps` steps of SQLite, of which each row
     *  takes some. False without an error when it stopped the statement, which has changed nothing then. */
    bool execute(const QString &sql, int steps, const std::function<bool()> &goesOn, VXError *error);
    /** The first column of the first row; null without a row and on failure. */
    QString textOf(const QString &sql, VXError *error);

    /** Copies the file as it is to an open one and syncs that; the caller reads it, its log empty, so that it stays.
     *  Reads through SQLite, since opening and closing the file would release the locks that SQLite holds on it. */
    bool copyFileTo(const VXFileDescriptor &copy, VXError *error);

    /** Attaches another file, by a name for use in SQL. Only once. */
    bool attach(const QString &path, const QString &name, VXError *error);

    /** The number of rows changed by the last INSERT, UPDATE or DELETE. */
    int changes() const;
    bool isInTransaction() const;
    /** Whether the file that it has open no longer lies at its path: nobody would find what is written to it. One call of the
     * system. */
    bool hasMoved() const;
    /** Also when writing was asked for and the file does not allow it. */
    bool isReadOnly() const;
    /** After a commit has just failed: whether the log may contain it nevertheless, and a recovery after a crash would
     *  apply it. */
    bool mayHaveCommitted() const;
    /** Whether the last failure was that a row already exists. */
    bool isIdentifierTaken() const;
    /** The last failure as an error of the object store. */
    VXError lastError() const;

private:
    using FileKey = std::pair<quint64, quint64>; // device and inode; both 0 for none

    VXSQLiteConnection(sqlite3 *database, const QString &path, const FileKey &key, std::atomic<qint64> *executions);
    struct Prepared
    {
        QString sql;
        std::shared_ptr<sqlite3_stmt> statement;
    };

    std::shared_ptr<sqlite3_stmt> prepare(const QString &sql, bool isKept, VXError *error);
    VXSQLiteStatement lent(const Prepared &prepared);
    void protect();
    void followTrace();
    int lastStatus() const;

    sqlite3 *const _database; // owned
    const QString _path;
    const FileKey _key;
    std::optional<FileKey> _attached;
    int _lastStatus = 0;    // of what execute failed with
    int _bindingStatus = 0; // of the statement that made the last step: what kept a value of it from being bound
    std::atomic<qint64> *const _executions;
    QHash<QString, std::shared_ptr<sqlite3_stmt>> _statements;
    std::array<Prepared, 4> _recent;       // some of _statements, found by comparing the pointer of the text
    size_t _next = 0;                      // of the recent ones, to be replaced
    std::unique_ptr<VXSQLiteTrace> _trace; // null while traces are off
};
