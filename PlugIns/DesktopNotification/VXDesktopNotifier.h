#pragma once

#include <QtCore/QString>

/** Shows notifications through the desktop's service (org.freedesktop.Notifications 1.2). Any thread; waits for the service. */
class VXDesktopNotifier
{
public:
    /** Shows a notification. Title and text are plain text without markup. False if there is no service or it refuses;
     *  `reason` tells why. */
    static bool notify(const QString &title, const QString &text, QString *reason);

    VXDesktopNotifier() = delete;
};
