#include "VXSortDescriptor.h"

#include "VXKeyValueCoding.h"
#include "VXValueComparison.h"

#include <cmath>

int VXSortDescriptor::compare(const QVariant &a, const QVariant &b) const
{
    return compareSortValues(sortValue(a), sortValue(b));
}

QVariant VXSortDescriptor::sortValue(const QVariant &object) const
{
    const QVariant value = VXValueForKeyPath(object, key);
    if (value.typeId() == QMetaType::Double && std::isnan(value.toDouble()))
        return {}; // has no place in an order
    return options && value.typeId() == QMetaType::QString ? VXFoldedText(value.toString(), options) : value;
}

int VXSortDescriptor::compareSortValues(const QVariant &a, const QVariant &b) const
{
    const std::partial_ordering order = isAscending ? VXCompareValues(a, b) : VXCompareValues(b, a);
    return order < 0 ? -1 : int(order > 0);
}
