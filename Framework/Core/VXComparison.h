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

/** A value as an element of a set or a hash: equal values (1 and 1.0 too) have equal hashes. */
struct VXHashableValue
{
    QVariant value;
    friend bool operator==(const VXHashableValue &a, const VXHashableValue &b) { return a.value == b.value; }
};
VX_EXPORT size_t qHash(const VXHashableValue &value, size_t seed = 0);

/** A set of values. */
using VXValueSet = QSet<VXHashableValue>;
Q_DECLARE_METATYPE(VXValueSet)

/**
 * Orders two values: -1 when `a` comes first, 0 when they are the same, 1 when `b` comes first. Numbers, texts (by
 * UTF-16 unit), dates, truth values, attributed strings, data (VXArchivedData), sets and lists are ordered; a
 * missing value comes before any other, and values of kinds that do not go together are the same. Reentrant, as all
 * of this header.
 */
[[nodiscard]] VX_EXPORT int vx_compare(const QVariant &a, const QVariant &b);

/** Compares the plain strings. */
[[nodiscard]] VX_EXPORT int vx_compare(const VXAttributedString &a, const VXAttributedString &b);
/** Compares the objects archived in the data. */
[[nodiscard]] VX_EXPORT int vx_compare(const QByteArray &a, const QByteArray &b);
/** Compares the numbers of elements only. */
[[nodiscard]] VX_EXPORT int vx_compare(const VXValueSet &a, const VXValueSet &b);
/** The shorter list first; lists of one length by their first elements that differ. */
[[nodiscard]] VX_EXPORT int vx_compare(const QVariantList &a, const QVariantList &b);

/** The value archived as a binary property list; null when a property list cannot hold it. */
[[nodiscard]] VX_EXPORT QByteArray VXArchivedData(const QVariant &value);

/**
 * A new list of the elements in ascending order of the value each gives for the key (VXValueForKey). Elements without
 * one come first; equal ones keep their order.
 */
[[nodiscard]] VX_EXPORT QVariantList vx_sortedArrayUsingKey(const QVariantList &elements, const QString &key);
[[nodiscard]] VX_EXPORT QVariantList vx_sortedArrayUsingKey(const VXValueSet &elements, const QString &key);

/**
 * Splits two versions of a list into what was added (in the new list's order), removed and unchanged (both in the old
 * list's order; an item that occurs more than once is unchanged once). Linear in the lengths.
 * @return lists under the three keys above, without the empty ones; an empty map when all are empty.
 */
[[nodiscard]] VX_EXPORT QVariantMap vx_compareWithArray(const QVariantList &oldList, const QVariantList &newList);
