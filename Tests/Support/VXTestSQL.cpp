#include "VXTestSQL.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <sqlite3.h>
#include <utility>

namespace {

std::mutex lock;
QStringList recorded; // with the lock

int record(unsigned, void *, void *statement, void *)
{
    char *const sql = sqlite3_expanded_sql(static_cast<sqlite3_stmt *>(statement));
    const std::lock_guard guard(lock);
    recorded.append(QString::fromUtf8(sql));
    sqlite3_free(sql);
    return 0;
}

int trace(sqlite3 *connection, const char **, const sqlite3_api_routines *)
{
    return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, record, nullptr);
}

std::atomic<int> untilFailure; // reading statements; the one at 0 has failed

// Interrupts the statement that begins, or the others too if some are under way.
int failOne(unsigned, void *connection, void *statement, void *)
{
    const bool isReading = sqlite3_stmt_readonly(static_cast<sqlite3_stmt *>(statement)) != 0 &&
                           sqlite3_column_count(static_cast<sqlite3_stmt *>(statement)) > 0;
    if (isReading && untilFailure > 0 && --untilFailure == 0)
        sqlite3_interrupt(static_cast<sqlite3 *>(connection));
    return 0;
}

int letFail(sqlite3 *connection, const char **, const sqlite3_api_routines *)
{
    return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, failOne, connection);
}

} // namespace

VXFailingReads::VXFailingReads()
{
    failAt(0);
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(letFail));
}

VXFailingReads::~VXFailingReads()
{
    failAt(0);
    sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(letFail));
}

void VXFailingReads::failAt(int number)
{
    untilFailure = number == 0 ? -1 : number;
}

bool VXFailingReads::hasFailed()
{
    return untilFailure == 0;
}

QStringList VXRunSQL(const QString &file, const QByteArray &sql)
{
    sqlite3 *database = nullptr;
    EXPECT_EQ(sqlite3_open(file.toUtf8().constData(), &database), SQLITE_OK) << file.toStdString();
    const auto rowOf = [](sqlite3_context *, int, sqlite3_value **) {}; // the stores' own, which only a plan names here
    sqlite3_create_function(database, "VX_ROW", -1, SQLITE_UTF8, nullptr, rowOf, nullptr, nullptr);
    QStringList rows;
    const auto collect = [](void *list, int count, char **values, char **) {
        static_cast<QStringList *>(list)->append(QString::fromUtf8(values[count - 1]));
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(database, sql.constData(), collect, &rows, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    sqlite3_close(database);
    return rows;
}

QStringList VXQueryPlan(const QString &file, const QString &statement)
{
    return VXRunSQL(file, "EXPLAIN QUERY PLAN " + statement.toUtf8());
}

VXStatementRecorder::VXStatementRecorder()
{
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(trace));
    take();
}

VXStatementRecorder::~VXStatementRecorder()
{
    sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(trace));
}

QStringList VXStatementRecorder::take()
{
    const std::lock_guard guard(lock);
    return std::exchange(recorded, {});
}
