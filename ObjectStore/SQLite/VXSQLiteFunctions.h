#pragma once

struct sqlite3;

/**
 * Adds to a connection the functions by which predicates and sort descriptors compare texts (VXTextComparison.h):
 *
 *   VXTEXT                             collation by UTF-16 unit
 *   VX_FOLD(text, options)             the text without what the options (VXTextOptions) ignore; other values unchanged
 *   VX_BEGINSWITH(text, part, options) 1 or 0, also for NULL; likewise VX_ENDSWITH, VX_CONTAINS, VX_LIKE
 *                                      and VX_MATCHES
 *
 * and the one that passes rows, VX_ROW (VXSQLiteRowReader.h).
 */
void VXRegisterSQLiteFunctions(sqlite3 *database);
