#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

/** "vxdevice": the scheme of URLs that name a device, vxdevice://host/plugin-identifier/device-identifier. */
VX_EXPORT extern const QString VXDeviceURLScheme;

/**
 * The URL of a device. A null host means "localhost"; without a plugin identifier (null) the device identifier is
 * dropped. Characters with a meaning in URLs, including "/", are encoded. Invalid when the host name is not valid.
 */
[[nodiscard]] VX_EXPORT QUrl VXMakeDeviceURL(const QString &host, const QString &pluginIdentifier,
                                             const QString &deviceIdentifier);

/**
 * The URL of the device that a URL names or leads into: its scheme, host and first two path components, of which any
 * may be missing. Null for a null URL.
 */
[[nodiscard]] VX_EXPORT QUrl VXGetDeviceURLFromURL(const QUrl &url);

/** The key of a device's preference in the user defaults: "PLUGIN-IDENTIFIER.DEVICE-IDENTIFIER.KEY". */
[[nodiscard]] VX_EXPORT QString VXMakeDevicePreferenceKey(const QUrl &url, const QString &key);

/** A component of the URL's path, decoded; counted from 0. Null when there is none. */
[[nodiscard]] VX_EXPORT QString VXDeviceURLComponent(const QUrl &url, qsizetype index);

/** The URL in the form in which it is stored and compared: complete and encoded. */
[[nodiscard]] VX_EXPORT QString VXAbsoluteString(const QUrl &url);
