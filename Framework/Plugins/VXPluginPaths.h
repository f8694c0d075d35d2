#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/** The path with all links resolved; if nothing is there, the standardized path. */
VX_EXPORT QString VXRealPath(const QString &path);

/** Whether the item, with all links resolved, is below the folder at any depth. */
VX_EXPORT bool VXIsInsideFolder(const QString &path, const QString &folder);
