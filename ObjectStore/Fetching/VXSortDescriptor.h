#pragma once

#include "VXObjectStoreExport.h"
#include "VXTextComparison.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <vector>

/** What to sort by, and how. A value type. */
struct VX_STORE_EXPORT VXSortDescriptor
{
    QString key; // a key path
    bool isAscending = true;
    VXTextOptions options = {}; // what to ignore when comparing texts

    /** Compares two objects with named values: negative, 0 or positive. None comes first when ascending. */
    int compare(const QVariant &a, const QVariant &b) const;

    /** The value that an object is sorted by, with the options applied; to be computed once per object. */
    QVariant sortValue(const QVariant &object) const;
    /** Compares two such values. */
    int compareSortValues(const QVariant &a, const QVariant &b) const;

    friend bool operator==(const VXSortDescriptor &a, const VXSortDescriptor &b) = default;
};

/**
 * The indexes, from 0, of `count` objects in the order of the descriptors. Objects that are equal or unordered keep
 * their order.
 */
[[nodiscard]] VX_STORE_EXPORT std::vector<qsizetype>
VXSortedPlaces(const QList<VXSortDescriptor> &descriptors, qsizetype count,
               const std::function<QVariant(qsizetype place)> &objectAt);
