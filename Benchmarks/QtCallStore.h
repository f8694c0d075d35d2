#pragma once

#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>

#include <stdexcept>

/** The other peer: Qt's SQL classes on a file that the object store has made. */
class QtCallStore
{
public:
    explicit QtCallStore(const QString &path) : database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name()))
    {
        database.setDatabaseName(path);
        if (!database.open() || !QSqlQuery(database).exec(QStringLiteral("PRAGMA synchronous = FULL")))
            throw std::runtime_error("Qt SQL has no SQLite driver, or it cannot open the file");
    }
    ~QtCallStore()
    {
        database = {}; // Qt wants to see nobody have it
        QSqlDatabase::removeDatabase(name());
    }
    QtCallStore(const QtCallStore &) = delete;
    QtCallStore &operator=(const QtCallStore &) = delete;

    QSqlDatabase database;

private:
    static QString name() { return QStringLiteral("benchmark"); }
};
