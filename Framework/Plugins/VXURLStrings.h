#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <optional>

// The application's URLs: SCHEME:TARGET, or SCHEME:TARGET?KEY=VALUE&KEY=VALUE, percent-escaped as UTF-8. Any thread.

/**
 * Makes a URL string. A null target is empty. Parameters come in the map's order, up to the first without a value
 * (invalid or null); values are taken as text. Escaped is what no URL may hold, and "&?;=".
 */
[[nodiscard]] VX_EXPORT QString VXMakeURLString(const QString &scheme, const QString &target,
                                                const QVariantMap &parameters = {});

/**
 * Takes a URL string apart: "scheme"; "host", which is the target, when something follows the ":"; and the parameters
 * by their keys, as texts, empty ones without a "=". All unescaped; what is no escape stays. @return none without a ":".
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
 * "vxbook://HOST/FIRST/SECOND", without the parts that are null. The host is "localhost" when null; the URL is invalid
 * for one that is no host name.
 */
[[nodiscard]] VX_EXPORT QUrl VXMakePhonebookURL(const QString &host = {}, const QString &firstPart = {},
                                                const QString &secondPart = {});
