#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QMetaType>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QVariant>

struct VXAttributedString;

/** Keys of the result of vx_compareWithArray. */
VX_EXPORT extern const QString VXComparisonItemsAdded;
VX_EXPORT extern const QString VXComparisonItemsRemoved;
VX_EXPORT extern const QString VXComparisonItemsUnchanged;

/**
 * Whether two values of one kind are equal: numbers and truth values by number, texts, dates by instant, data by bytes,
 * lists, dictionaries and sets by their elements, other values of one type by that type's own equality. All values that
 * stand for none are equal. Nothing is converted: 1 is not "1".
 */
[[nodiscard]] VX_EXPORT bool vx_isEqual(const QVariant &a, const QVariant &b);

/** A value as an element of a set or a hash. Values that are equal by vx_isEqual have equal hashes. */
struct VXHashableValue
{
    QVariant value;
    friend bool operator==(const VXHashableValue &a, const VXHashableValue &b) { return vx_isEqual(a.value, b.value); }
};
VX_EXPORT size_t qHash(const VXHashableValue &value, size_t seed = 0);

/** A set of values. */
using VXValueSet = QSet<VXHashableValue>;
Q_DECLARE_METATYPE(VXValueSet)

/**
 * Compares two values: -1 when `a` comes first, 0 when they are the same, 1 when `b` comes first. This is a strict weak
 * order over all values, so any list can be sorted. The order of kinds is: none, numbers and truth values (NaN before
 * all others), texts (by UTF-16 unit), attributed strings, dates, data (VXArchivedData), sets, lists, dictionaries,
 * then everything else; all dictionaries count as the same, and so do all values of the last kind. Reentrant, like
 * everything in this header.
 */
[[nodiscard]] VX_EXPORT int vx_compare(const QVariant &a, const QVariant &b);

/** Compares the plain strings. */
[[nodiscard]] VX_EXPORT int vx_compare(const VXAttributedString &a, const VXAttributedString &b);
/** Compares the objects archived in the data. */
[[nodiscard]] VX_EXPORT int vx_compare(const QByteArray &a, const QByteArray &b);
/** Compares the numbers of elements only. */
[[nodiscard]] VX_EXPORT int vx_compare(const VXValueSet &a, const VXValueSet &b);
/** A shorter list comes first; lists of equal length are ordered by their first elements that differ. */
[[nodiscard]] VX_EXPORT int vx_compare(const QVariantList &a, const QVariantList &b);

/** The value archived as a binary property list; null when a property list cannot hold it. */
[[nodiscard]] VX_EXPORT QByteArray VXArchivedData(const QVariant &value);

/**
 * A new list of the elements, in ascending order of their values for the key (VXValueForKey). Elements without a value
 * come first; the order of equal elements is kept.
 */
[[nodiscard]] VX_EXPORT QVariantList vx_sortedArrayUsingKey(const QVariantList &elements, const QString &key);
[[nodiscard]] VX_EXPORT QVariantList vx_sortedArrayUsingKey(const VXValueSet &elements, const QString &key);

/**
 * Splits two versions of a list into the items added (in the new list's order), removed and unchanged (both in the old
 * list's order; an item that occurs several times is listed as unchanged once). Items are compared by vx_isEqual.
 * Linear in the lengths, unless many items are of types without a hash of their own (VXHashableValue), which all have
 * the same hash. @return lists under the three keys above, without the empty ones; an empty map when all are empty.
 */
[[nodiscard]] VX_EXPORT QVariantMap vx_compareWithArray(const QVariantList &oldList, const QVariantList &newList);
