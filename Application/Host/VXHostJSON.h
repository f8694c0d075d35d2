#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/**
 * A property-list value as JSON. What JSON has no form for is an object with one key: data {"$data": BASE64},
 * dates
 * {"$date": ISO 8601}, numbers that are not finite {"$real": "nan"|"inf"|"-inf"}. None and null texts are null.
 */
[[nodiscard]] QJsonValue VXJSONFromVariant(const QVariant &value);

/** The way back; JSON's null becomes a QVariant of nullptr, which no property list holds. */
[[nodiscard]] QVariant VXVariantFromJSON(const QJsonValue &value);

/** The text of any JSON value, scalars too, without a line feed at its end. */
[[nodiscard]] QByteArray VXJSONText(const QJsonValue &value, QJsonDocument::JsonFormat format = QJsonDocument::Compact);

/** Reads any JSON value, scalars too; none with a reason when the text is no JSON. */
[[nodiscard]] std::optional<QJsonValue> VXJSONFromText(const QByteArray &text, QString *reason = nullptr);
