#include "RawCallStore.h"

#include <QtCore/QStringList>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

// As many different texts as to defeat a cache, few enough to be shared by a million objects.
QStringList textsOf(const QString &format)
{
    QStringList texts;
    for (int number = 0; number < 1000; ++number)
        texts.append(format.arg(number, 3, 10, QChar(u'0')));
    return texts;
}

const QStringList titles = textsOf(u"Call number %1 of a long day"_s);
const QStringList numbers = textsOf(u"+49 30 555 %1"_s);
const QStringList notes = textsOf(u"Ask Zoë about the café, and call back before %1"_s);

void check(bool isDone, sqlite3 *database)
{
    if (!isDone)
        throw std::runtime_error(sqlite3_errmsg(database));
}

void bindText(sqlite3_stmt *statement, int parameter, const QString &text)
{
    sqlite3_bind_text16(statement, parameter, text.utf16(), int(text.size() * 2), SQLITE_STATIC);
}

QString textAt(sqlite3_stmt *statement, int column)
{
    const void *const units = sqlite3_column_text16(statement, column);
    return QString(static_cast<const QChar *>(units), sqlite3_column_bytes16(statement, column) / 2);
}

constexpr std::array sql{
    R"(INSERT INTO "VX_Call" ("Z_PK", "Z_ENT", "Z_OPT", "title", "number", "duration", "position", "cost", "isRead", "date",
       "note", "caller", "folder") VALUES (?1, ?2, 1, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12))",
    R"(UPDATE "VX_Call" SET "duration" = ?1, "Z_OPT" = "Z_OPT" + 1 WHERE "Z_PK" = ?2 AND "Z_OPT" = ?3)",
    R"(SELECT "Z_PK", "Z_ENT", "Z_OPT", "title", "number", "duration", "position", "cost", "isRead", "date", "note", "caller",
       "folder" FROM "VX_Call")",
    R"(SELECT "Z_PK", "Z_ENT", "Z_OPT", "title", "number", "duration", "position", "cost", "isRead", "date", "note", "caller",
       "folder" FROM "VX_Call" WHERE "number" = ?1)",
    R"(SELECT COUNT(*) FROM "VX_Call" WHERE "position" < ?1 AND "cost" > ?2)",
};

} // namespace

BenchmarkCall::BenchmarkCall(qint64 index)
    : title(titles[index % 1000]), number(numbers[index % 1000]), duration(int(index % 3600)), position(index),
      cost(double(index % 500) / 100), isRead(index % 3 == 0),
      date(QDateTime::fromMSecsSinceEpoch(1'600'000'000'000 + index * 1000, Qt::UTC)), note(notes[index / 7 % 1000]),
      caller(index % personCount + 1), folder(index % folderCount + 1)
{
}

struct RawCallStore::Row
{
    qint64 number = 0;
    qint64 entity = 0;
    qint64 version = 0;
    QString title;
    QString phoneNumber;
    int duration = 0;
    qint64 position = 0;
    double cost = 0;
    bool isRead = false;
    QDateTime date;
    QString note;
    qint64 caller = 0;
    qint64 folder = 0;

    qint64 sum() const
    {
        return number + entity + version + title.size() + phoneNumber.size() + duration + position + qint64(cost) +
               (isRead ? 1 : 0) + date.toMSecsSinceEpoch() + note.size() + caller + folder;
    }
};

RawCallStore::RawCallStore(const QString &path)
{
    check(sqlite3_open_v2(path.toUtf8().constData(), &_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                          nullptr) == SQLITE_OK,
          _database);
    execute("PRAGMA synchronous = FULL; PRAGMA cache_size = -16384");
}

RawCallStore::~RawCallStore()
{
    for (sqlite3_stmt *const statement : _statements)
        sqlite3_finalize(statement);
    sqlite3_close(_database);
}

void RawCallStore::execute(const char *statements)
{
    check(sqlite3_exec(_database, statements, nullptr, nullptr, nullptr) == SQLITE_OK, _database);
}

sqlite3_stmt *RawCallStore::query(Query query)
{
    sqlite3_stmt *&statement = _statements.at(query);
    if (statement == nullptr)
        check(sqlite3_prepare_v2(_database, sql.at(query), -1, &statement, nullptr) == SQLITE_OK, _database);
    return statement;
}

void RawCallStore::insert(qint64 count)
{
    execute("BEGIN IMMEDIATE");
    sqlite3_stmt *const statement = query(Insertion);
    for (qint64 index = 0; index < count; ++index) {
        const BenchmarkCall call(index);
        sqlite3_bind_int64(statement, 1, index + 1);
        sqlite3_bind_int64(statement, 2, 1);
        bindText(statement, 3, call.title);
        bindText(statement, 4, call.number);
        sqlite3_bind_int64(statement, 5, call.duration);
        sqlite3_bind_int64(statement, 6, call.position);
        sqlite3_bind_double(statement, 7, call.cost);
        sqlite3_bind_int64(statement, 8, call.isRead ? 1 : 0);
        sqlite3_bind_int64(statement, 9, call.date.toMSecsSinceEpoch());
        bindText(statement, 10, call.note);
        sqlite3_bind_int64(statement, 11, call.caller);
        sqlite3_bind_int64(statement, 12, call.folder);
        check(sqlite3_step(statement) == SQLITE_DONE, _database);
        sqlite3_reset(statement);
    }
    execute("COMMIT");
}

void RawCallStore::update(qint64 count, int duration)
{
    execute("BEGIN IMMEDIATE");
    sqlite3_stmt *const statement = query(Update);
    for (qint64 number = 1; number <= count; ++number) {
        sqlite3_bind_int64(statement, 1, duration);
        sqlite3_bind_int64(statement, 2, number);
        sqlite3_bind_int64(statement, 3, _version);
        check(sqlite3_step(statement) == SQLITE_DONE && sqlite3_changes(_database) == 1, _database);
        sqlite3_reset(statement);
    }
    execute("COMMIT");
    ++_version;
}

RawCallStore::Row RawCallStore::readRow(sqlite3_stmt *statement)
{
    Row row;
    row.number = sqlite3_column_int64(statement, 0);
    row.entity = sqlite3_column_int64(statement, 1);
    row.version = sqlite3_column_int64(statement, 2);
    row.title = textAt(statement, 3);
    row.phoneNumber = textAt(statement, 4);
    row.duration = sqlite3_column_int(statement, 5);
    row.position = sqlite3_column_int64(statement, 6);
    row.cost = sqlite3_column_double(statement, 7);
    row.isRead = sqlite3_column_int(statement, 8) != 0;
    row.date = QDateTime::fromMSecsSinceEpoch(sqlite3_column_int64(statement, 9), Qt::UTC);
    row.note = textAt(statement, 10);
    row.caller = sqlite3_column_int64(statement, 11);
    row.folder = sqlite3_column_int64(statement, 12);
    return row;
}

qint64 RawCallStore::streamRows(sqlite3_stmt *statement)
{
    qint64 sum = 0;
    while (sqlite3_step(statement) == SQLITE_ROW)
        sum += readRow(statement).sum();
    sqlite3_reset(statement);
    return sum;
}

std::vector<RawCallStore::Row> RawCallStore::rowsOf(sqlite3_stmt *statement)
{
    std::vector<Row> rows;
    while (sqlite3_step(statement) == SQLITE_ROW)
        rows.push_back(readRow(statement));
    sqlite3_reset(statement);
    return rows;
}

qint64 RawCallStore::readRows(sqlite3_stmt *statement)
{
    qint64 sum = 0;
    for (const Row &row : rowsOf(statement))
        sum += row.sum();
    return sum;
}

void RawCallStore::holdAll()
{
    _held = rowsOf(query(All));
    _held.shrink_to_fit();
}

void RawCallStore::letGo()
{
    _held = {};
}

qint64 RawCallStore::readAll()
{
    return readRows(query(All));
}

qint64 RawCallStore::streamAll()
{
    return streamRows(query(All));
}

qint64 RawCallStore::readNumber(const QString &number)
{
    sqlite3_stmt *const statement = query(ByNumber);
    bindText(statement, 1, number);
    return readRows(statement);
}

qint64 RawCallStore::count(qint64 below, double cost)
{
    sqlite3_stmt *const statement = query(Count);
    sqlite3_bind_int64(statement, 1, below);
    sqlite3_bind_double(statement, 2, cost);
    check(sqlite3_step(statement) == SQLITE_ROW, _database);
    const qint64 count = sqlite3_column_int64(statement, 0);
    sqlite3_reset(statement);
    return count;
}
