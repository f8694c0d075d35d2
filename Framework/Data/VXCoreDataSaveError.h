#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

/**
 * Logs, at level 6, what conflicted in a failed save: for each object in conflict the values that differ between the
 * object, what the context read last ("context"), and the store. @return false, with nothing logged, for any other
 * error.
 */
VX_EXPORT bool VXLogCoreDataSaveError(const VXError &error);
