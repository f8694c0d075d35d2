#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>

/**
 * Sets the clock that decides when a logger falls silent after a failed write; lines show the system's time. Not
 * installed; for tests.
 */
VX_EXPORT void VXSetLogClock(QDateTime (*clock)());
