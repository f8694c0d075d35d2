#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/**
 * A property-list value as JSON (RFC 8259). Values without a JSON form become an object with one key: data {"$data":
 * BASE64}, dates {"$date": ISO 8601}, numbers that are not finite {"$real": "nan"|"inf"|"-inf"}. None and null texts
 * become null. Reentrant, like everything in this header.
 */
[[nodiscard]] VX_PLATFORM_EXPORT QJsonValue VXJSONFromVariant(const QVariant &value);

/** The reverse; JSON's null becomes a QVariant of nullptr, which property lists cannot hold. */
[[nodiscard]] VX_PLATFORM_EXPORT QVariant VXVariantFromJSON(const QJsonValue &value);

/** The text of any JSON value, including scalars, without a trailing line feed. */
[[nodiscard]] VX_PLATFORM_EXPORT QByteArray VXJSONText(const QJsonValue &value,
                                                       QJsonDocument::JsonFormat format = QJsonDocument::Compact);

/** Parses any JSON value, including scalars; none, with a reason, when the text is no JSON. */
[[nodiscard]] VX_PLATFORM_EXPORT std::optional<QJsonValue> VXJSONFromText(const QByteArray &text,
                                                                          QString *reason = nullptr);
