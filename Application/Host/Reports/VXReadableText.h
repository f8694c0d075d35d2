#pragma once

#include <QtCore/QJsonValue>
#include <QtCore/QString>

/**
 * A value for people: values with little nesting as aligned lines of key and value, lists of larger values as one
 * indented block for each. Ends with a line feed, unless the value is null, which gives an empty text.
 */
[[nodiscard]] QString VXReadableText(const QJsonValue &value);
