#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * A property list for people: one value per line, nested values indented. Texts are in quotes, dates in ISO 8601, data
 * is shown by its first bytes and its size, and whole and real numbers look different.
 */
[[nodiscard]] QString VXReadablePropertyList(const QVariant &value);
