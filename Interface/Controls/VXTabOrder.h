#pragma once

#include "VXInterfaceExport.h"

class QWidget;

/**
 * Has Tab go through what lies on the page as it is read, line by line, whenever its layout has changed: parts that came later
 * too. Main thread only.
 */
VX_INTERFACE_EXPORT void VXKeepTabOrder(QWidget &page);
