#include "VXSortDescriptor.h"

#include "VXKeyValueCoding.h"
#include "VXValueComparison.h"

#include <algorithm>
#include <cmath>
#include <numeric>

int VXSortDescriptor::compare(const QVariant &a, const QVariant &b) const
{
    return compareSortValues(sortValue(a), sortValue(b));
}

QVariant VXSortDescriptor::sortValue(const QVariant &object) const
{
    const QVariant value = VXValueForKeyPath(object, key);
    if (value.typeId() == QMetaType::Double && std::isnan(value.toDouble()))
        return {}; // NaN has no place in the order
    return options && value.typeId() == QMetaType::QString ? VXFoldedText(value.toString(), options) : value;
}

int VXSortDescriptor::compareSortValues(const QVariant &a, const QVariant &b) const
{
    const std::partial_ordering order = isAscending ? VXCompareValues(a, b) : VXCompareValues(b, a);
    return order < 0 ? -1 : int(order > 0);
}

// Sort values are computed once per object. The sort must be stable, since some values are unordered.
std::vector<qsizetype> VXSortedPlaces(const QList<VXSortDescriptor> &descriptors, qsizetype count,
                                      const std::function<QVariant(qsizetype place)> &objectAt)
{
    const auto width = size_t(descriptors.size());
    std::vector<QVariant> values;
    values.reserve(size_t(count) * width);
    for (qsizetype place = 0; place < count; ++place) {
        const QVariant object = objectAt(place);
        for (const VXSortDescriptor &descriptor : descriptors)
            values.push_back(descriptor.sortValue(object));
    }
    std::vector<qsizetype> places(static_cast<size_t>(count));
    std::iota(places.begin(), places.end(), qsizetype(0));
    std::stable_sort(places.begin(), places.end(), [&](qsizetype a, qsizetype b) {
        for (size_t column = 0; column < width; ++column) {
            const int result = descriptors[qsizetype(column)].compareSortValues(values[size_t(a) * width + column],
                                                                                values[size_t(b) * width + column]);
            if (result != 0)
                return result < 0;
        }
        return false;
    });
    return places;
}
