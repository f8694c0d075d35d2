#include "VXSQLiteTrace.h"

#include "VXDiagnostics.h"
#include "VXUserDefaults.h"

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned traceLevel = 7;

} // namespace

bool VXSQLiteTrace::isWanted()
{
    static const auto *const live = new VXLiveSwitch(VXUserDefaults::standardUserDefaults(), u"debug.SQL"_s);
    return live->isOn();
}

VXSQLiteTrace::VXSQLiteTrace(sqlite3 *database) : _database(database)
{
    sqlite3_trace_v2(_database, SQLITE_TRACE_STMT | SQLITE_TRACE_ROW | SQLITE_TRACE_PROFILE, note, this);
}

VXSQLiteTrace::~VXSQLiteTrace()
{
    sqlite3_trace_v2(_database, 0, nullptr, nullptr);
}

int VXSQLiteTrace::note(unsigned event, void *self, void *statement, void * /*detail*/)
{
    auto &trace = *static_cast<VXSQLiteTrace *>(self);
    auto *const running = static_cast<sqlite3_stmt *>(statement);
    if (event == SQLITE_TRACE_STMT)
        trace.begin(running);
    else if (const auto run = trace._runs.find(running); run == trace._runs.end())
        return 0; // begun before traces were wanted
    else if (event == SQLITE_TRACE_ROW)
        ++run->rows;
    else
        trace.end(running);
    return 0;
}

// SQLite's own time is in milliseconds.
void VXSQLiteTrace::begin(sqlite3_stmt *statement)
{
    for (const int counter : {SQLITE_STMTSTATUS_FULLSCAN_STEP, SQLITE_STMTSTATUS_SORT})
        sqlite3_stmt_status(statement, counter, 1);
    _runs.insert(statement, {std::chrono::steady_clock::now()});
}

void VXSQLiteTrace::end(sqlite3_stmt *statement)
{
    const Run run = _runs.take(statement);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - run.start;
    VXReportDiagnostic(
        traceLevel,
        QString::asprintf("[SQL] 0x%08x -[VXSQLiteConnection run] %.3f ms, rows %lld, scanned %d, sorts %d: %s",
                          static_cast<unsigned>(reinterpret_cast<quintptr>(_database)), took.count(),
                          static_cast<long long>(run.rows),
                          sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_FULLSCAN_STEP, 0),
                          sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_SORT, 0), sqlite3_sql(statement)));
}
