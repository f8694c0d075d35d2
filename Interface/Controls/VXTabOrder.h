#pragma once

#include "VXInterfaceExport.h"

class QWidget;

/**
 * Keeps the Tab order of a page the same as the reading order, line by line, whenever its layout has changed; includes
 * widgets added later. Main thread only.
 */
VX_INTERFACE_EXPORT void VXKeepTabOrder(QWidget &page);
