#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QString>

class QSize;
class QWidget;

/**
 * Has a window come back where the user left it, in its size, maximised or full screen if it was: under the user default
 * "interface.window.NAME". A place that no screen shows any more is not taken. `standardSize` holds the first time. Call it
 * before the window is shown, on the main thread.
 */
VX_INTERFACE_EXPORT void VXRememberWindow(QWidget &window, const QString &name, const QSize &standardSize);
