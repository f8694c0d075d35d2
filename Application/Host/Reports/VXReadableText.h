#pragma once

#include <QtCore/QJsonValue>
#include <QtCore/QString>

/**
 * A value for people: what nests little as aligned lines of key and value, lists of larger things as one indented block
 * for each. Ends with a line feed, unless the value is none (null): that gives an empty text.
 */
[[nodiscard]] QString VXReadableText(const QJsonValue &value);
