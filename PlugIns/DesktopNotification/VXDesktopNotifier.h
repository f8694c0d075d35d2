#pragma once

#include <QtCore/QString>

/** Shows notifications through the desktop's service (org.freedesktop.Notifications 1.2). Any thread; waits for the service. */
class VXDesktopNotifier
{
public:
    /** Title and text as they are to be read, without markup. False when there is no service, or it refuses; `reason` tells
     * why. */
    static bool notify(const QString &title, const QString &text, QString *reason);

    VXDesktopNotifier() = delete;
};
