#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <optional>

// The application's URLs: SCHEME:TARGET, or SCHEME:TARGET?KEY=VALUE&KEY=VALUE, percent-escaped as UTF-8. Any thread.

/**
 * Makes a URL string. A null target is empty. Parameters come in the order of the map, and end before the first without
 * a value (invalid or null); values are converted to text. Characters not allowed in URLs, and "&?;=", are escaped.
 */
[[nodiscard]] VX_EXPORT QString VXMakeURLString(const QString &scheme, const QString &target,
                                                const QVariantMap &parameters = {});

/**
 * Parses a URL string into "scheme"; "host", the target, if anything follows the ":"; and the parameters by their keys,
 * as texts, which are empty without a "=". Everything is unescaped; invalid escapes are kept. @return none without a
 * ":".
 */
[[nodiscard]] VX_EXPORT std::optional<QVariantMap> VXComponentsFromURLString(const QString &url);

/** "callto:NUMBER", with "device" unless that is null. */
[[nodiscard]] VX_EXPORT QString VXCalltoURLString(const QString &number, const QString &device = {});
/** "vxchat:TARGET" and "messageto:TARGET", with "body" and "device" unless those are null. */
[[nodiscard]] VX_EXPORT QString VXChatURLString(const QString &target, const QString &body = {},
                                                const QString &device = {});
[[nodiscard]] VX_EXPORT QString VXMessagetoURLString(const QString &target, const QString &body = {},
                                                     const QString &device = {});

/**
 * "vxbook://HOST/FIRST/SECOND", without the parts that are null. A null host means "localhost"; for an invalid host
 * name the URL is invalid.
 */
[[nodiscard]] VX_EXPORT QUrl VXMakePhonebookURL(const QString &host = {}, const QString &firstPart = {},
                                                const QString &secondPart = {});
