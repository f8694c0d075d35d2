#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/**
 * A property-list value as JSON (RFC 8259). What JSON has no form for is an object with one key: data {"$data": BASE64},
 * dates {"$date": ISO 8601}, numbers that are not finite {"$real": "nan"|"inf"|"-inf"}. None and null texts are null.
 * Reentrant, as all of this header.
 */
[[nodiscard]] VX_PLATFORM_EXPORT QJsonValue VXJSONFromVariant(const QVariant &value);

/** The way back; JSON's null becomes a QVariant of nullptr, which no property list holds. */
[[nodiscard]] VX_PLATFORM_EXPORT QVariant VXVariantFromJSON(const QJsonValue &value);

/** The text of any JSON value, scalars too, without a line feed at its end. */
[[nodiscard]] VX_PLATFORM_EXPORT QByteArray VXJSONText(const QJsonValue &value,
                                                       QJsonDocument::JsonFormat format = QJsonDocument::Compact);

/** Reads any JSON value, scalars too; none with a reason when the text is no JSON. */
[[nodiscard]] VX_PLATFORM_EXPORT std::optional<QJsonValue> VXJSONFromText(const QByteArray &text,
                                                                          QString *reason = nullptr);
