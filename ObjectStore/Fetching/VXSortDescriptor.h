#pragma once

#include "VXObjectStoreExport.h"
#include "VXTextComparison.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

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
