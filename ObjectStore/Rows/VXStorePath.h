#pragma once

#include "VXError.h"

#include <QtCore/QString>

#include <optional>

/**
 * The real path of a store's data file, with symbolic links resolved; the log and lock files are named after it. The
 * file need not exist. @return empty, with an error, without its folder, and for a file with several hard links: with
 * each name it would have a log or lock of its own, and changes would be lost.
 */
std::optional<QString> VXRealStorePath(const QString &path, VXError *error);
