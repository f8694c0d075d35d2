#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/** The absolute path without ".", ".." and double slashes; links are not resolved. The path need not exist. */
VX_EXPORT QString VXStandardizedPath(const QString &path);

/** The path with all links resolved; if nothing is there, the standardized path. */
VX_EXPORT QString VXRealPath(const QString &path);

/** Whether the item, with all links resolved, is below the folder at any depth. */
VX_EXPORT bool VXIsInsideFolder(const QString &path, const QString &folder);
