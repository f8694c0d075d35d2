#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QVariant>

#include <compare>
#include <optional>

/**
 * Orders two values the same way as stores do: numbers and truth values by number, texts by UTF-16 unit, dates, data by
 * bytes. None equals none and comes before any value. Values of different kinds are unordered. Reentrant.
 */
VX_STORE_EXPORT std::partial_ordering VXCompareValues(const QVariant &a, const QVariant &b);

/**
 * Whether values are equal by that order; values without an order, such as objects, are equal when they are the same.
 */
VX_STORE_EXPORT bool VXEqualValues(const QVariant &a, const QVariant &b);

/** What a whole number or a truth value is as one; empty for all else, and for one above the signed range. */
VX_STORE_EXPORT std::optional<qint64> VXWholeNumber(const QVariant &value);
