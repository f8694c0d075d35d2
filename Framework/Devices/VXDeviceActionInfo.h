#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

/** What people should know of a device action. Texts in the user's language; null where no plugin tells. */
struct VXDeviceActionInfo
{
    QString object;  // what it is given, as "{memory, location}"
    QString meaning; // what it does
};

/**
 * What plugins tell of an action in their resource "actions.plist", a dictionary by action of dictionaries with "object" and
 * "meaning": the plugin of the device, else another that is enabled. Main thread.
 */
[[nodiscard]] VX_EXPORT VXDeviceActionInfo VXInfoOfDeviceAction(const QString &actionName, const QUrl &deviceURL);
