#pragma once

#include "VXObjectStoreExport.h"
#include "VXTextComparison.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <vector>

/** By which value to sort, and how. A value type. */
struct VX_STORE_EXPORT VXSortDescriptor
{
    QString key; // a key path
    bool isAscending = true;
    VXTextOptions options = {}; // what the comparison of texts overlooks

    /** Less than 0, 0 or more than 0: the order of two objects, with values by name. None comes first when ascending. */
    int compare(const QVariant &a, const QVariant &b) const;

    /** The value that an object is sorted by, without what the options overlook: to be made once for each object. */
    QVariant sortValue(const QVariant &object) const;
    /** The order of two such values. */
    int compareSortValues(const QVariant &a, const QVariant &b) const;

    friend bool operator==(const VXSortDescriptor &a, const VXSortDescriptor &b) = default;
};

/**
 * The places of `count` objects, from 0, in the order of the descriptors. Objects that are equal, or have no order among
 * themselves, keep theirs.
 */
[[nodiscard]] VX_STORE_EXPORT std::vector<qsizetype>
VXSortedPlaces(const QList<VXSortDescriptor> &descriptors, qsizetype count,
               const std::function<QVariant(qsizetype place)> &objectAt);
