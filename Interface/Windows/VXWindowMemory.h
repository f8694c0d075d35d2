#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QString>

class QSize;
class QWidget;

/**
 * Restores a window's position and size, and whether it was maximised or full screen, from the user default
 * "interface.window.NAME", and stores them there. A position that is on no screen any more is ignored. `standardSize`
 * is used the first time. To be called before the window is shown, on the main thread.
 */
VX_INTERFACE_EXPORT void VXRememberWindow(QWidget &window, const QString &name, const QSize &standardSize);
