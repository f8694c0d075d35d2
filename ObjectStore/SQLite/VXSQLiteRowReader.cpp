#include "VXSQLiteRowReader.h"

#include <new>

#include <sqlite3.h>

namespace {

constexpr char pointerType[] = "VXSQLiteRowReader";

} // namespace

void VXSQLiteRowReader::registerFunction(sqlite3 *database)
{
    constexpr int anyCount = -1;
    sqlite3_create_function_v2(database, "VX_ROW", anyCount, SQLITE_UTF16 | SQLITE_DIRECTONLY, nullptr, readArguments,
                               nullptr, nullptr, nullptr);
}

void VXSQLiteRowReader::bind(VXSQLiteStatement &statement, int parameter)
{
    statement.bindPointer(parameter, this, pointerType);
    _isHandedOver = true;
}

// Exceptions must not pass through SQLite.
void VXSQLiteRowReader::readArguments(sqlite3_context *context, int count, sqlite3_value **arguments)
{
    auto *const reader = static_cast<VXSQLiteRowReader *>(sqlite3_value_pointer(arguments[0], pointerType));
    try {
        const VXSQLiteValues values(arguments + 1, size_t(count) - 1);
        reader->read(values);
        sqlite3_result_int64(context, values[0].number());
    } catch (const std::bad_alloc &) {
        sqlite3_result_error_nomem(context);
    } catch (...) {
        sqlite3_result_error(context, "a row could not be read", -1);
    }
}

void VXSQLiteRowReader::read(VXSQLiteValues values)
{
    _read.objectID = {};
    if (_wanted == nullptr || _wanted->find(values[0].number()) != nullptr)
        _read.objectID = _layout.readID(values, _store);
    if (_read.objectID.isNull())
        return;
    VXStoreRow &row =
        _rows.next(int(_read.objectID.entity().properties().size()), VXSQLiteRowLayout::readVersion(values));
    if (Q_LIKELY(_layout.readRow(values, _read.objectID, row, &_problem)))
        _read.row = _rows.finish();
}

bool VXSQLiteRowReader::take(const VXSQLiteStatement &statement, VXFetchedRow *fetched, QString *problem)
{
    if (!_isHandedOver) {
        statement.columns(&_columns);
        read(_columns);
    }
    *fetched = std::exchange(_read, {});
    if (Q_LIKELY(fetched->row || fetched->objectID.isNull()))
        return true;
    *problem = std::exchange(_problem, {});
    return false;
}
