#pragma once

#include "VXFrameworkExport.h"

#include <chrono>

/**
 * Sets for all device actions how long an abort may take, and how often a waiting executeThreaded checks: 60 seconds and
 * 1 second. Not installed; for tests.
 */
VX_EXPORT void VXSetDeviceActionDelays(std::chrono::milliseconds cancelDelay, std::chrono::milliseconds pollInterval);
