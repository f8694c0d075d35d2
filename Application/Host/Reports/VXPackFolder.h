#pragma once

#include "VXError.h"

#include <QtCore/QString>

/**
 * Packs a folder into a zip archive at that path, which must have the extension "zip", and waits until that is done.
 * Null on success.
 */
[[nodiscard]] VXError VXPackFolder(const QString &folder, const QString &archive);
