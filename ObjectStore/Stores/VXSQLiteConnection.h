#pragma once

#include "VXError.h"
#include "VXFileDescriptor.h"
#include "VXObjectStoreExport.h"
#include "VXSQLiteStatement.h"

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

/** A connection to an SQLite file, with its prepared statements. For one thread at a time. */
class VX_STORE_EXPORT VXSQLiteConnection
{
public:
    enum class Access {
        Create,    // the file may be missing
        Write,     // the file must be there
        Read,      // of a file that others may write; what SQLite makes beside it stays
        Query,     // the same, but the last one brings the log into the file and removes what lay beside it
        Immutable, // of a file that nobody writes and in whose folder nothing can be made
    };

    /** `executions`, if given, counts executed statements and outlives the connection. @return null on failure. */
    static std::unique_ptr<VXSQLiteConnection> open(const QString &path, Access access,
                                                    std::chrono::milliseconds busyTimeout,
                                                    std::atomic<qint64> *executions, VXError *error);
    ~VXSQLiteConnection();

    /**
     * Calls with the file in no use by a connection of this process; false, and not called, when one has it open. To open and
     * close a file ends all locks that its process has on it, and others would then take away the log that is being written.
     */
    static bool whileNotOpenHere(const QString &path, const std::function<void()> &call);

    VXSQLiteConnection(const VXSQLiteConnection &) = delete;
    VXSQLiteConnection &operator=(const VXSQLiteConnection &) = delete;

    /** Prepared when it is first asked for. To be borrowed once at a time. False on failure. */
    [[nodiscard]] VXSQLiteStatement statement(const QString &sql, VXError *error);
    /** Prepares and runs a statement without values. */
    bool execute(const QString &sql, VXError *error);
    /** The same of one that may take long: `goesOn` is asked every so many steps of SQLite, of which each row takes some. False
     * without an error when it ended the statement, which then has changed nothing. */
    bool execute(const QString &sql, int steps, const std::function<bool()> &goesOn, VXError *error);
    /** The first column of the first row; null without one or on failure. */
    QString textOf(const QString &sql, VXError *error);

    /** Copies the file, as it lies there, to an open one, and that to the disk: for who holds its write lock. Read by way of
     * SQLite, as to open and close a file that it has open ends the locks that it holds. */
    bool copyFileTo(const VXFileDescriptor &copy, VXError *error);

    /** Adds another file, under a name of its own in SQL. Once. */
    bool attach(const QString &path, const QString &name, VXError *error);

    /** How many rows the last INSERT, UPDATE or DELETE concerned. */
    int changes() const;
    bool isInTransaction() const;
    /** Whether the file that it has open no longer lies at its path: nobody would find what is written to it. One call of the
     * system. */
    bool hasMoved() const;
    /** Also when writing was asked for and the file does not allow it. */
    bool isReadOnly() const;
    /** Of a commit that failed just now: whether the log may hold it all the same, for whoever recovers it after a crash. */
    bool mayHaveCommitted() const;
    /** Whether the last failure was that a row is there already. */
    bool isConstraintViolated() const;
    /** The last failure, as what kept an object store from working. */
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
    int lastStatus() const;

    sqlite3 *const _database; // owned
    const QString _path;
    const FileKey _key;
    std::optional<FileKey> _attached;
    int _lastStatus = 0;    // of what execute failed with
    int _bindingStatus = 0; // of the statement that made the last step: what kept a value of it from being bound
    std::atomic<qint64> *const _executions;
    QHash<QString, std::shared_ptr<sqlite3_stmt>> _statements;
    std::array<Prepared, 4> _recent; // of those, some asked for before, known by the very text without reading it
    size_t _next = 0;                // of the recent ones, to give way
};
