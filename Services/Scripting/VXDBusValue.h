#pragma once

#include "VXEventDescriptor.h"

#include <QtCore/QVariant>

#include <optional>

/** An argument of a D-Bus message as plain values: texts (paths and signatures too), numbers, truth values, bytes, lists
 *  (structures too) and maps with texts for keys. */
[[nodiscard]] QVariant VXPlainDBusValue(const QVariant &argument);

/** How deep lists and maps may lie in each other. D-Bus counts 64 levels, three for each map in a map, and ends the connection of
 *  who sends more. */
inline constexpr int VXDeepestDBusValue = 16;

/** A descriptor as an argument of that D-Bus type, one complete one; empty when it cannot be that, and when it is too deep. */
[[nodiscard]] std::optional<QVariant> VXDBusArgument(const VXEventDescriptor &descriptor, const QByteArray &signature);

/** A plain value as D-Bus can carry it: dates become texts (ISO 8601), URLs texts; what cannot be carried, and what lies too
 *  deep, is left out. */
[[nodiscard]] QVariant VXCarriedByDBus(const QVariant &value);
