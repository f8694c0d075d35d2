#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <atomic>
#include <memory>
#include <utility>

struct sqlite3_stmt;

/**
 * A prepared statement, borrowed from its connection until the end of a scope, which resets it; the connection lives longer.
 * Parameters count from 1, columns from 0. What is bound is not copied: it must stay as it is until the statement is reset.
 */
class VX_STORE_EXPORT VXSQLiteStatement
{
public:
    enum class Step { Row, Done, Failed };

    /** Prepared for nothing. */
    VXSQLiteStatement() = default;
    /** `executions`, if given, counts how often a statement was started. */
    VXSQLiteStatement(std::shared_ptr<sqlite3_stmt> statement, std::atomic<qint64> *executions)
        : _statement(std::move(statement)), _executions(executions)
    {
    }
    VXSQLiteStatement(VXSQLiteStatement &&other) noexcept = default;
    VXSQLiteStatement &operator=(VXSQLiteStatement &&other) noexcept
    {
        std::swap(_statement, other._statement);
        std::swap(_executions, other._executions);
        std::swap(_status, other._status);
        return *this;
    }
    ~VXSQLiteStatement();
    explicit operator bool() const { return bool(_statement); }

    void bindNull(int parameter);
    void bindNumber(int parameter, qint64 number);
    /** Not a number, which SQL takes for NULL, is kept as data of the bytes "NaN". */
    void bindReal(int parameter, double number);
    /** A null text is bound as NULL. */
    void bindText(int parameter, const QString &text);
    /** Null data is bound as NULL. */
    void bindData(int parameter, const QByteArray &data);
    /** As bindData, with a copy of its own. */
    void bindDataCopy(int parameter, const QByteArray &data);
    /** A number, text, date or data by its type; NULL for anything else. */
    void bindValue(int parameter, const QVariant &value);

    /** The next row. Failed also when a value could not be bound. */
    Step step();
    /** Runs it to its end, and makes it ready for the next values. False on failure. */
    bool run();
    void reset();

    bool isNull(int column) const;
    qint64 number(int column) const;
    double real(int column) const;
    QString text(int column) const;
    QByteArray data(int column) const;

private:
    void note(int status);

    sqlite3_stmt *raw() const { return _statement.get(); }

    std::shared_ptr<sqlite3_stmt> _statement; // its connection keeps it for the next time
    std::atomic<qint64> *_executions = nullptr;
    int _status = 0; // the first failure to bind
};
