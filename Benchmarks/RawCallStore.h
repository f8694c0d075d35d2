#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>

#include <array>
#include <functional>
#include <vector>

#include <sqlite3.h>

/** One object of the benchmarks, made from its number so that none has to be kept. */
struct BenchmarkCall
{
    explicit BenchmarkCall(qint64 number);

    const QString &title;
    const QString &number; // the same for every 1,000th
    int duration;
    qint64 position;
    double cost;
    bool isRead;
    QDateTime date;
    const QString &note;
    qint64 caller; // 1 to personCount
    qint64 folder; // 1 to folderCount

    static constexpr qint64 personCount = 1000;
    static constexpr qint64 folderCount = 10;
};

/** The peer: SQLite by hand on a file that the object store has made, prepared statements with bound values. */
class RawCallStore
{
public:
    explicit RawCallStore(const QString &path);
    ~RawCallStore();
    RawCallStore(const RawCallStore &) = delete;
    RawCallStore &operator=(const RawCallStore &) = delete;

    /** Each in one transaction. */
    void insert(qint64 count);
    void update(qint64 count, int duration);
    /** Reads every column of every row into a value of its own; answers a sum of them. Keeps the rows until all are there, as
     * a fetch does, or lets go of each at once. */
    qint64 readAll();
    qint64 streamAll();
    /** Reads all, and keeps them until letGo. */
    void holdAll();
    void letGo();
    qint64 readNumber(const QString &number);
    qint64 count(qint64 below, double cost);

    enum Query { Insertion, Update, All, ByNumber, Count };

private:
    sqlite3_stmt *query(Query query);
    void execute(const char *statements);
    struct Row;
    static Row readRow(sqlite3_stmt *statement);
    static qint64 streamRows(sqlite3_stmt *statement);
    static std::vector<Row> rowsOf(sqlite3_stmt *statement);
    static qint64 readRows(sqlite3_stmt *statement);

    sqlite3 *_database = nullptr;
    std::array<sqlite3_stmt *, 5> _statements = {};
    std::vector<Row> _held;
    qint64 _version = 1; // of the rows; each update makes it one more
};
