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

/** A column of a statement's present row; views are valid until the next step. */
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

/** Several values. */
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
 * A prepared statement, borrowed from its connection until the end of a scope, which resets it; the connection must
 * live longer. Parameters count from 1, columns from 0. Bound values are not copied: they must not change until the
 * statement is reset.
 */
class VX_STORE_EXPORT VXSQLiteStatement
{
public:
    enum class Step { Row, Done, Failed };

    /** A null statement. */
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
    /** NaN, which SQL takes for NULL, is stored as data of the bytes "NaN". */
    void bindReal(int parameter, double number);
    /** A null text is bound as NULL. */
    void bindText(int parameter, QStringView text);
    /** The same in UTF-8, the file's encoding, which saves SQLite the conversion. */
    void bindText(int parameter, QUtf8StringView text);
    /** Null data is bound as NULL. */
    void bindData(int parameter, QByteArrayView data);
    /** Same as bindData, but binds a copy. */
    void bindDataCopy(int parameter, const QByteArray &data);
    /** For functions that take a pointer of that type; NULL to everything else. */
    void bindPointer(int parameter, void *pointer, const char *type);
    /** Binds a number, text, date or data by its type; NULL for anything else. */
    void bindValue(int parameter, const QVariant &value);

    /** The next row. Failed as well when a value could not be bound. */
    Step step();
    /** Runs the statement to its end, and resets it for the next values. False on failure. */
    bool run();
    void reset();

    /** A value of the present row, found once for all accesses; no other thread may use the connection meanwhile. */
    VXSQLiteValue value(int column) const { return VXSQLiteValue(sqlite3_column_value(raw(), column)); }
    /** All values of the row. */
    void columns(std::vector<sqlite3_value *> *values) const;
    qint64 number(int column) const { return value(column).number(); }
    QString text(int column) const { return value(column).text().toString(); }
    QByteArray data(int column) const { return value(column).data().toByteArray(); }

private:
    void note(int status);

    sqlite3_stmt *raw() const { return _statement.get(); }

    std::shared_ptr<sqlite3_stmt> _statement; // its connection keeps it for reuse
    std::atomic<qint64> *_executions = nullptr;
    int *_bindingStatus = nullptr; // told at each step
    int _status = 0;               // the first failure to bind
};
