#pragma once

#include "VXFetchRequest.h"

#include <QtCore/QString>

class VXHostOptions;

/**
 * Applies --where, --sort, --limit and --offset to a fetch request. @return what is wrong with them, null if nothing
 * is. Keys that the entity does not have are an error, although a fetch would treat them as null.
 */
[[nodiscard]] QString VXReadFetchOptions(const VXHostOptions &options, VXFetchRequest &request);
/** The same for a condition alone. */
[[nodiscard]] QString VXReadPredicate(const QString &text, VXFetchRequest &request);
