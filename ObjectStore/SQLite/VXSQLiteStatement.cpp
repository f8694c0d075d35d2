#include "VXSQLiteStatement.h"

#include "VXNone.h"

#include <QtCore/QDateTime>

#include <cmath>
#include <limits>

#include <sqlite3.h>

namespace {

constexpr char notANumber[] = "NaN";

// SQLite takes a leading U+FEFF or U+FFFE for a byte order mark and drops it; so another one is put before it.
bool looksMarked(QStringView text)
{
    return !text.isEmpty() && (text.front() == QChar(0xFEFF) || text.front() == QChar(0xFFFE));
}

} // namespace

VXSQLiteStatement::~VXSQLiteStatement()
{
    if (!_statement)
        return;
    sqlite3_reset(raw());
    sqlite3_clear_bindings(raw());
}

void VXSQLiteStatement::note(int status)
{
    if (_status == SQLITE_OK)
        _status = status;
}

void VXSQLiteStatement::bindNull(int parameter)
{
    note(sqlite3_bind_null(raw(), parameter));
}

void VXSQLiteStatement::bindNumber(int parameter, qint64 number)
{
    note(sqlite3_bind_int64(raw(), parameter, number));
}

void VXSQLiteStatement::bindReal(int parameter, double number)
{
    if (std::isnan(number))
        note(sqlite3_bind_blob(raw(), parameter, notANumber, sizeof(notANumber) - 1, SQLITE_STATIC));
    else
        note(sqlite3_bind_double(raw(), parameter, number));
}

void VXSQLiteStatement::bindText(int parameter, QStringView text)
{
    if (text.isNull()) {
        bindNull(parameter);
    } else if (looksMarked(text)) {
        const QString marked = QChar(QChar::ByteOrderMark) + text.toString();
        note(sqlite3_bind_text64(raw(), parameter, reinterpret_cast<const char *>(marked.utf16()),
                                 sqlite3_uint64(marked.size()) * sizeof(QChar), SQLITE_TRANSIENT, SQLITE_UTF16));
    } else {
        note(sqlite3_bind_text64(raw(), parameter, reinterpret_cast<const char *>(text.utf16()),
                                 sqlite3_uint64(text.size()) * sizeof(QChar), SQLITE_STATIC, SQLITE_UTF16));
    }
}

void VXSQLiteStatement::bindText(int parameter, QUtf8StringView text)
{
    if (text.isNull())
        bindNull(parameter);
    else
        note(sqlite3_bind_text64(raw(), parameter, text.data(), sqlite3_uint64(text.size()), SQLITE_STATIC,
                                 SQLITE_UTF8));
}

void VXSQLiteStatement::bindData(int parameter, QByteArrayView data)
{
    if (data.isNull())
        bindNull(parameter);
    else
        note(sqlite3_bind_blob64(raw(), parameter, data.data(), sqlite3_uint64(data.size()), SQLITE_STATIC));
}

void VXSQLiteStatement::bindDataCopy(int parameter, const QByteArray &data)
{
    note(sqlite3_bind_blob64(raw(), parameter, data.constData(), sqlite3_uint64(data.size()), SQLITE_TRANSIENT));
}

void VXSQLiteStatement::bindPointer(int parameter, void *pointer, const char *type)
{
    note(sqlite3_bind_pointer(raw(), parameter, pointer, type, nullptr));
}

void VXSQLiteStatement::bindValue(int parameter, const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        bindText(parameter, *static_cast<const QString *>(value.constData()));
        break;
    case QMetaType::QByteArray:
        bindData(parameter, *static_cast<const QByteArray *>(value.constData()));
        break;
    case QMetaType::QDateTime:
        bindNumber(parameter, value.toDateTime().toMSecsSinceEpoch());
        break;
    case QMetaType::Float:
    case QMetaType::Double:
        bindReal(parameter, value.toDouble());
        break;
    case QMetaType::ULong:
    case QMetaType::ULongLong: // beyond the signed range, it can only be bound as real
        if (value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            bindReal(parameter, value.toDouble());
        else
            bindNumber(parameter, value.toLongLong());
        break;
    default:
        if (VXIsNone(value) || !value.canConvert<qlonglong>())
            bindNull(parameter);
        else
            bindNumber(parameter, value.toLongLong());
    }
}

VXSQLiteStatement::Step VXSQLiteStatement::step()
{
    *_bindingStatus = _status;
    if (_status != SQLITE_OK)
        return Step::Failed;
    if (_executions != nullptr && sqlite3_stmt_busy(raw()) == 0)
        _executions->fetch_add(1, std::memory_order_relaxed);
    switch (sqlite3_step(raw())) {
    case SQLITE_ROW:
        return Step::Row;
    case SQLITE_DONE:
        return Step::Done;
    default:
        return Step::Failed;
    }
}

bool VXSQLiteStatement::run()
{
    Step at = step();
    while (at == Step::Row)
        at = step();
    if (at == Step::Done)
        sqlite3_reset(raw());
    return at == Step::Done;
}

void VXSQLiteStatement::reset()
{
    sqlite3_reset(raw());
}

void VXSQLiteStatement::columns(std::vector<sqlite3_value *> *values) const
{
    values->resize(size_t(sqlite3_column_count(raw())));
    for (int column = 0; column < int(values->size()); ++column)
        (*values)[size_t(column)] = sqlite3_column_value(raw(), column);
}

double VXSQLiteValue::real() const
{
    if (sqlite3_value_type(_value) == SQLITE_BLOB)
        return std::numeric_limits<double>::quiet_NaN();
    return sqlite3_value_double(_value);
}

QByteArrayView VXSQLiteValue::data() const
{
    const void *const bytes = sqlite3_value_blob(_value);
    if (bytes == nullptr) // also for empty data
        return isNull() ? QByteArrayView() : QByteArrayView("", 0);
    return {static_cast<const char *>(bytes), sqlite3_value_bytes(_value)};
}
