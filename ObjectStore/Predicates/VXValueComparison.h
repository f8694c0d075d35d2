#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QVariant>

#include <compare>
#include <optional>

/**
 * Orders two values as stores do: numbers and truth values by number, texts by UTF-16 unit, dates, data by byte. None is
 * equal to none and comes before any value. Values of kinds that do not go together are unordered. Reentrant.
 */
VX_STORE_EXPORT std::partial_ordering VXCompareValues(const QVariant &a, const QVariant &b);

/** Equal by the order above; values that have none, as objects, are equal when they are the same. */
VX_STORE_EXPORT bool VXEqualValues(const QVariant &a, const QVariant &b);

/** What a whole number or a truth value is as one; empty for all else, and for one above the signed range. */
VX_STORE_EXPORT std::optional<qint64> VXWholeNumber(const QVariant &value);
