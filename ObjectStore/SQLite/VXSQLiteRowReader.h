#pragma once

#include "VXObjectNumbers.h"
#include "VXPersistentStore.h"
#include "VXSQLiteRowLayout.h"
#include "VXStoreRowBatch.h"

#include <vector>

struct sqlite3;

/**
 * Makes row objects of a statement's rows. Mostly SQLite passes all columns at once as arguments of a function, since
 * reading them one by one takes a fifth of a fetch. A statement that sorts would call the function before sorting, so
 * there the columns are read one by one. Must not move until the statement is reset; one thread at a time.
 */
class VXSQLiteRowReader
{
public:
    VXSQLiteRowReader(const VXSQLiteRowLayout &layout, const VXStoreIdentity &store) : _layout(layout), _store(store) {}
    VXSQLiteRowReader(const VXSQLiteRowReader &) = delete;
    VXSQLiteRowReader &operator=(const VXSQLiteRowReader &) = delete;

    /** Adds the function to a connection: VX_ROW(reader, column, ...), which returns the first column. */
    static void registerFunction(sqlite3 *database);
    /** Binds this object as the function's first argument, in a statement with VXSQLiteRowLayout::handedColumns. */
    void bind(VXSQLiteStatement &statement, int parameter);
    /** Skips all other objects. */
    void wantOnly(const VXObjectNumbers &numbers) { _wanted = &numbers; }

    /** Takes the present row of the statement; to be called once per row. None for an object that cannot exist. @return
     *  false when its values are damaged; then `problem` says how. */
    bool take(const VXSQLiteStatement &statement, VXFetchedRow *fetched, QString *problem);

private:
    static void readArguments(sqlite3_context *context, int count, sqlite3_value **arguments);
    void read(VXSQLiteValues values);

    const VXSQLiteRowLayout &_layout;
    const VXStoreIdentity &_store;
    const VXObjectNumbers *_wanted = nullptr; // nullptr: all
    bool _isHandedOver = false;
    std::vector<sqlite3_value *> _columns; // of the present row, if read one by one
    VXStoreRowBatch _rows;
    VXFetchedRow _read;
    QString _problem;
};
