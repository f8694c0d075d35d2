#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringView>

/**
 * Orders two version strings: -1, 0 or 1. They are compared component by component between the dots, by number, so
 * that 1.10 is greater than 1.9; where one ends first the longer one is greater. A component that is no number is
 * logged and compared as it stands. Reentrant.
 */
[[nodiscard]] VX_EXPORT int vx_compareVersion(QStringView a, QStringView b);
