#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

/** A description of a device action for people. Texts in the user's language; null where no plugin has one. */
struct VXDeviceActionInfo
{
    QString object;  // what the action takes, for example "{memory, location}"
    QString meaning; // what it does
};

/**
 * The description of an action in the resource "actions.plist" of the device's plugin, or else of another enabled
 * plugin. That resource is a dictionary of dictionaries with "object" and "meaning", by action. Main thread.
 */
[[nodiscard]] VX_EXPORT VXDeviceActionInfo VXInfoOfDeviceAction(const QString &actionName, const QUrl &deviceURL);
