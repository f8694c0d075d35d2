#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * A property list for people: one value a line, nested values indented. Texts stand in quotes, dates are ISO
 * 8601, data shows its first bytes and its size, whole and real numbers differ.
 */
[[nodiscard]] QString VXReadablePropertyList(const QVariant &value);
