#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringView>

/**
 * Compares two version strings; returns -1, 0 or 1. The components between the dots are compared as numbers, so 1.10 is
 * greater than 1.9; if one string ends first, the longer one is greater. A component that is no number is logged; in
 * it, runs of digits are compared as numbers, and everything else by code unit. Reentrant.
 */
[[nodiscard]] VX_EXPORT int vx_compareVersion(QStringView a, QStringView b);
