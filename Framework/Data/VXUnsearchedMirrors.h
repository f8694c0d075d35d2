#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringList>

/**
 * Returns the identifiers of search mirrors that no launched sync keeps: those of plugins that are disabled or gone. Removing them
 * (VXMetaDataRemoval) is left to the caller. Empty in safe mode and while an enabled plugin is not loaded, whose mirror cannot be
 * told from theirs. Main thread.
 */
[[nodiscard]] VX_EXPORT QStringList VXUnsearchedMirrors();
