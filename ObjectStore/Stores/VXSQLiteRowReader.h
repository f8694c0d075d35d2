#pragma once

#include "VXObjectNumbers.h"
#include "VXPersistentStore.h"
#include "VXSQLiteRowLayout.h"
#include "VXStoreRowBatch.h"

#include <vector>

struct sqlite3;

/**
 * Makes rows of those of one statement. Mostly SQLite hands their columns over all at once, as arguments of a function of ours:
 * it takes a fifth of a fetch to ask for each. Where it sorts it would call that before it has sorted, so there they are asked
 * for. Stays where it is until the statement is reset; used by one thread at a time.
 */
class VXSQLiteRowReader
{
public:
    VXSQLiteRowReader(const VXSQLiteRowLayout &layout, const VXStoreIdentity &store) : _layout(layout), _store(store) {}
    VXSQLiteRowReader(const VXSQLiteRowReader &) = delete;
    VXSQLiteRowReader &operator=(const VXSQLiteRowReader &) = delete;

    /** Teaches a connection the function: VX_ROW(reader, column, ...), which answers the first column. */
    static void registerFunction(sqlite3 *database);
    /** To the function's first parameter, of a statement that asks for VXSQLiteRowLayout::handedColumns. */
    void bind(VXSQLiteStatement &statement, int parameter);
    /** Leaves all other objects unread. */
    void wantOnly(const VXObjectNumbers &numbers) { _wanted = &numbers; }

    /** The row on which the statement stands, once; none for an object that cannot be. @return false when its values are
     * damaged; `problem` says how. */
    bool take(const VXSQLiteStatement &statement, VXFetchedRow *fetched, QString *problem);

private:
    static void readArguments(sqlite3_context *context, int count, sqlite3_value **arguments);
    void read(VXSQLiteValues values);

    const VXSQLiteRowLayout &_layout;
    const VXStoreIdentity &_store;
    const VXObjectNumbers *_wanted = nullptr; // nullptr: all
    bool _isHandedOver = false;
    std::vector<sqlite3_value *> _columns; // of the present row, where they are asked for
    VXStoreRowBatch _rows;
    VXFetchedRow _read;
    QString _problem;
};
