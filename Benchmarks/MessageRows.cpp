#include "MessageRows.h"

#include "BenchmarkModels.h"

#include "VXConversationKey.h"

#include <sqlite3.h>

void insertMessageRows(sqlite3 *database, qint64 folder, qint64 count, const std::function<QString(qint64)> &textOf,
                       const std::function<QString(qint64)> &numberOf)
{
    const auto execute = [&](const char *sql) {
        check(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sqlite3_errmsg(database));
    };
    execute("BEGIN IMMEDIATE");
    sqlite3_stmt *statement = nullptr;
    const char *const sql =
        R"(INSERT INTO "VX_VXMessage" ("Z_ENT", "Z_OPT", "text", "date", "state", "direction", "from", "from_search",
           "otherParty_search", "conversation", "pending", "folder", "folder:entity")
           VALUES ((SELECT "Z_ENT" FROM "Z_ENTITY" WHERE "Z_NAME" = 'VXMessage'), 1, ?1, ?2, 3, 1, ?3, ?4, ?4, ?4, 0, ?5,
           (SELECT "Z_ENT" FROM "Z_ENTITY" WHERE "Z_NAME" = 'VXRootFolder')))";
    check(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) == SQLITE_OK, sqlite3_errmsg(database));
    const auto bind = [&](int parameter, const QString &text) {
        sqlite3_bind_text16(statement, parameter, text.utf16(), int(text.size() * 2), SQLITE_TRANSIENT);
    };
    for (qint64 index = 0; index < count; ++index) {
        const QString number = numberOf(index);
        bind(1, textOf(index));
        sqlite3_bind_int64(statement, 2, 1'600'000'000'000 + index * 1000);
        bind(3, number);
        bind(4, VXConversationKey(number));
        sqlite3_bind_int64(statement, 5, folder);
        check(sqlite3_step(statement) == SQLITE_DONE, sqlite3_errmsg(database));
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    execute("COMMIT; PRAGMA wal_checkpoint(TRUNCATE)");
}
