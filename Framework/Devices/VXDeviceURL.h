#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

/** "vxdevice": the scheme of URLs that name a device, vxdevice://host/plugin-identifier/device-identifier. */
VX_EXPORT extern const QString VXDeviceURLScheme;

/**
 * The URL of a device. A null host stands for "localhost"; without a plugin identifier (null) the device identifier is
 * dropped. Characters that have a meaning in URLs, "/" too, are encoded. Invalid when the host can be none.
 */
[[nodiscard]] VX_EXPORT QUrl VXMakeDeviceURL(const QString &host, const QString &pluginIdentifier,
                                             const QString &deviceIdentifier);

/** The URL of the device that a URL names or leads into: its scheme, host and first two path components. Null for
 *  null; components that are missing stay so. */
[[nodiscard]] VX_EXPORT QUrl VXGetDeviceURLFromURL(const QUrl &url);

/** The user default of a device's preference: "PLUGIN-IDENTIFIER.DEVICE-IDENTIFIER.KEY". */
[[nodiscard]] VX_EXPORT QString VXMakeDevicePreferenceKey(const QUrl &url, const QString &key);

/** A component of the URL's path, decoded, counted from 0 after the leading "/"; null when there is none. */
[[nodiscard]] VX_EXPORT QString VXDeviceURLComponent(const QUrl &url, qsizetype index);

/** The URL as it is stored and compared: encoded, complete. */
[[nodiscard]] VX_EXPORT QString VXAbsoluteString(const QUrl &url);
