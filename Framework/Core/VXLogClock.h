#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>

/** The clock by which a logger falls silent after a failed write; lines show the system's time. Not installed: for tests. */
VX_EXPORT void VXSetLogClock(QDateTime (*clock)());
