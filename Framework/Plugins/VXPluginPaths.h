#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/** The path, absolute and without ".", ".." and doubled slashes; links stay. Nothing need be there. */
VX_EXPORT QString VXStandardizedPath(const QString &path);

/** The path with all links followed; the standardized one where nothing is. */
VX_EXPORT QString VXRealPath(const QString &path);

/** True when the item, all links followed, lies below the folder, at whatever depth. */
VX_EXPORT bool VXIsInsideFolder(const QString &path, const QString &folder);
