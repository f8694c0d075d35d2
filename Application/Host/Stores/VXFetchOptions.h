#pragma once

#include "VXFetchRequest.h"

#include <QtCore/QString>

class VXHostOptions;

/**
 * Takes --where, --sort, --limit and --offset over into a fetch. @return what is wrong with them, null when nothing is; keys that
 * the entity does not have are, although a fetch would take them for none.
 */
[[nodiscard]] QString VXReadFetchOptions(const VXHostOptions &options, VXFetchRequest &request);
/** The same with a condition alone. */
[[nodiscard]] QString VXReadPredicate(const QString &text, VXFetchRequest &request);
