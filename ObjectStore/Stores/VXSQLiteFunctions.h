#pragma once

struct sqlite3;

/**
 * Teaches a connection how predicates and sort descriptors compare texts (VXTextComparison.h):
 *
 *     VXTEXT                             collation by UTF-16 unit
 *     VX_FOLD(text, options)             the text without what the options (VXTextOptions) overlook; others as they are
 *     VX_BEGINSWITH(text, part, options) 1 or 0, also where none takes part; so too VX_ENDSWITH, VX_CONTAINS,
 *                                        VX_LIKE and VX_MATCHES
 *
 * and what hands over rows, VX_ROW (VXSQLiteRowReader.h).
 */
void VXRegisterSQLiteFunctions(sqlite3 *database);
