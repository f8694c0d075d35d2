#pragma once

#include <QtCore/QHash>

#include <chrono>

struct sqlite3;
struct sqlite3_stmt;

/**
 * Logs the statements of a connection while it lives: what each took from its start to its end, which includes what was done with
 * its rows meanwhile. Values, which may be private, are left out. One thread at a time.
 */
class VXSQLiteTrace
{
public:
    /** The database must live longer. */
    explicit VXSQLiteTrace(sqlite3 *database);
    ~VXSQLiteTrace();
    VXSQLiteTrace(const VXSQLiteTrace &) = delete;
    VXSQLiteTrace &operator=(const VXSQLiteTrace &) = delete;

    /** Whether the user default "debug.SQL" is true just now. One atomic load; any thread. */
    static bool isWanted();

private:
    struct Run
    {
        std::chrono::steady_clock::time_point start;
        qint64 rows = 0;
    };

    static int note(unsigned event, void *self, void *statement, void *detail);
    void begin(sqlite3_stmt *statement);
    void end(sqlite3_stmt *statement);

    sqlite3 *const _database;
    QHash<sqlite3_stmt *, Run> _runs; // the statements that are running
};
