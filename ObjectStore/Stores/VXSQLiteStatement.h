#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtCore/QString>
#include <QtCore/QStringView>
#include <QtCore/QUtf8StringView>
#include <QtCore/QVariant>

#include <atomic>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include <sqlite3.h>

/** A column of a statement's present row; views hold until the statement steps on. */
class VXSQLiteValue
{
public:
    explicit VXSQLiteValue(sqlite3_value *value) : _value(value) {}

    bool isNull() const { return sqlite3_value_type(_value) == SQLITE_NULL; }
    qint64 number() const { return sqlite3_value_int64(_value); }
    double real() const;
    QStringView text() const
    {
        const void *const units = sqlite3_value_text16(_value);
        return units == nullptr ? QStringView()
                                : QStringView(static_cast<const QChar *>(units),
                                              sqlite3_value_bytes16(_value) / qsizetype(sizeof(QChar)));
    }
    QByteArrayView data() const;

private:
    sqlite3_value *const _value;
};

/** Several of them. */
class VXSQLiteValues
{
public:
    VXSQLiteValues(sqlite3_value *const *values, size_t count) : _values(values, count) {}
    VXSQLiteValues(const std::vector<sqlite3_value *> &values) : _values(values) {}

    VXSQLiteValue operator[](int column) const { return VXSQLiteValue(_values[size_t(column)]); }

private:
    std::span<sqlite3_value *const> _values;
};

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
    /** `executions`, if given, counts how often a statement was started. `bindingStatus` is its connection's, which asks SQLite
     * for the errors of all else. */
    VXSQLiteStatement(std::shared_ptr<sqlite3_stmt> statement, std::atomic<qint64> *executions, int *bindingStatus)
        : _statement(std::move(statement)), _executions(executions), _bindingStatus(bindingStatus)
    {
    }
    VXSQLiteStatement(VXSQLiteStatement &&other) noexcept = default;
    VXSQLiteStatement &operator=(VXSQLiteStatement &&other) noexcept
    {
        std::swap(_statement, other._statement);
        std::swap(_executions, other._executions);
        std::swap(_bindingStatus, other._bindingStatus);
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
    void bindText(int parameter, QStringView text);
    /** The same in UTF-8, as the file has it: SQLite takes longer to turn it into that. */
    void bindText(int parameter, QUtf8StringView text);
    /** Null data is bound as NULL. */
    void bindData(int parameter, QByteArrayView data);
    /** As bindData, with a copy of its own. */
    void bindDataCopy(int parameter, const QByteArray &data);
    /** For a function that asks for a pointer of that type; NULL to all else. */
    void bindPointer(int parameter, void *pointer, const char *type);
    /** A number, text, date or data by its type; NULL for anything else. */
    void bindValue(int parameter, const QVariant &value);

    /** The next row. Failed also when a value could not be bound. */
    Step step();
    /** Runs it to its end, and makes it ready for the next values. False on failure. */
    bool run();
    void reset();

    /** Of the present row. One look-up for all that is asked of it; no other thread uses the connection meanwhile. */
    VXSQLiteValue value(int column) const { return VXSQLiteValue(sqlite3_column_value(raw(), column)); }
    /** All of them. */
    void columns(std::vector<sqlite3_value *> *values) const;
    qint64 number(int column) const { return value(column).number(); }
    QString text(int column) const { return value(column).text().toString(); }
    QByteArray data(int column) const { return value(column).data().toByteArray(); }

private:
    void note(int status);

    sqlite3_stmt *raw() const { return _statement.get(); }

    std::shared_ptr<sqlite3_stmt> _statement; // its connection keeps it for the next time
    std::atomic<qint64> *_executions = nullptr;
    int *_bindingStatus = nullptr; // told at each step
    int _status = 0;               // the first failure to bind
};
