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
 * True for equal values of one kind: numbers and truth values by number, texts, dates by instant, data by byte, lists,
 * dictionaries and sets by their elements, anything else of one type by that type's own equality. All that stands for
 * none is equal; nothing is converted: 1 is not "1".
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
 * Orders two values: -1 when `a` comes first, 0 when they are the same, 1 when `b` comes first. It is a strict weak
 * order over all values, so that any list can be sorted. Of different kinds come first: none, numbers and truth values
 * (what is no number before all others), texts (by UTF-16 unit), attributed strings, dates, data (VXArchivedData), sets,
 * lists, dictionaries, then all else; of the last two each counts as the same as the next. Reentrant, as all of this header.
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
 * list's order; an item that occurs more than once is unchanged once). Items are told apart by vx_isEqual. Linear in
 * the lengths, unless many items are of types that hash alike (VXHashableValue): those with no hash known here.
 * @return lists under the three keys above, without the empty ones; an empty map when all are empty.
 */
[[nodiscard]] VX_EXPORT QVariantMap vx_compareWithArray(const QVariantList &oldList, const QVariantList &newList);
