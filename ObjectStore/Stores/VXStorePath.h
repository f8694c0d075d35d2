#pragma once

#include "VXError.h"

#include <QtCore/QString>

#include <optional>

/**
 * Where the data file of a store really lies, whatever links lead there: what belongs to it (log, lock) is named after that.
 * The file need not exist. @return empty for a file with several names (hard links): under each of them it would have a log or a
 * lock of its own, and changes would be lost.
 */
std::optional<QString> VXRealStorePath(const QString &path, VXError *error);
