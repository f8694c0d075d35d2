#pragma once

#include "VXError.h"

#include <QtCore/QString>

/** Packs a folder as a zip archive at that path, which must have the extension "zip", and waits for it. Null when it worked. */
[[nodiscard]] VXError VXPackFolder(const QString &folder, const QString &archive);
