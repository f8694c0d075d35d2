#pragma once

#include "VXServicesExport.h"

#include <QtCore/QString>

/** The program with windows, as others reach it on the session bus: org.freedesktop.Application of the Desktop Entry Specification. */
class VX_SERVICES_EXPORT VXDesktopProgram
{
public:
    static QString busName();    // "com.halvern.VNX2.Desktop"
    static QString objectPath(); // "/com/halvern/VNX2/Desktop"

    /**
     * Has it open a URL, or only show its window for a null one; the bus starts it if need be. Does not wait for that.
     * @return false when there is no such program on this bus, and nothing was done.
     */
    static bool open(const QString &url);
};
