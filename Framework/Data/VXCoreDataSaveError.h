#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

/**
 * Writes what collided in a failed save to the log, at level 6: for each object in conflict, the values that differ between
 * the object, the context's last reading ("context") and the store. @return false, with nothing logged, for any other error.
 */
VX_EXPORT bool VXLogCoreDataSaveError(const VXError &error);
