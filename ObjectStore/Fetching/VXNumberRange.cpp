#include "VXNumberRange.h"

#include "VXNone.h"
#include "VXNumber.h"
#include "VXValueComparison.h"

#include <algorithm>
#include <cmath>
#include <limits>

using Operator = VXPredicate::Operator;

namespace {

template <class T>
VXNumberRange rangeOf()
{
    return {std::numeric_limits<T>::min(), std::numeric_limits<T>::max()};
}

} // namespace

std::optional<VXNumberRange> VXNumberRange::ofType(VXAttributeType type)
{
    switch (type) {
    case VXAttributeType::Integer16:
        return rangeOf<qint16>();
    case VXAttributeType::Integer32:
        return rangeOf<qint32>();
    case VXAttributeType::Integer64:
        return rangeOf<qint64>();
    case VXAttributeType::Boolean:
        return VXNumberRange{0, 1};
    default:
        return std::nullopt;
    }
}

VXNumberRange VXNumberRange::ofCount()
{
    return {0, std::numeric_limits<qint64>::max()};
}

bool VXNumberRange::holds(const QVariant &value) const
{
    const bool isWhole = !VXIsRealNumber(value.metaType()) || std::floor(value.toDouble()) == value.toDouble();
    return VXIsNone(value) || (isWhole && VXCompareValues(value, least) >= 0 && VXCompareValues(value, most) <= 0);
}

bool VXNumberRange::canBe(Operator comparison, const QVariant &value) const
{
    const QVariantList list = value.toList();
    switch (comparison) {
    case Operator::Equal:
        return holds(value);
    case Operator::Less:
        return !VXIsNone(value) && VXCompareValues(least, value) < 0;
    case Operator::LessOrEqual:
        return !VXIsNone(value) && VXCompareValues(least, value) <= 0;
    case Operator::Greater:
        return !VXIsNone(value) && VXCompareValues(most, value) > 0;
    case Operator::GreaterOrEqual:
        return !VXIsNone(value) && VXCompareValues(most, value) >= 0;
    case Operator::In:
        return list.isEmpty() ||
               std::any_of(list.cbegin(), list.cend(), [this](const QVariant &each) { return holds(each); });
    case Operator::Between:
        return list.size() != 2 || (canBe(Operator::GreaterOrEqual, list[0]) && canBe(Operator::LessOrEqual, list[1]));
    default:
        return true;
    }
}

Operator VXMirrored(Operator comparison)
{
    switch (comparison) {
    case Operator::Less:
        return Operator::Greater;
    case Operator::LessOrEqual:
        return Operator::GreaterOrEqual;
    case Operator::Greater:
        return Operator::Less;
    case Operator::GreaterOrEqual:
        return Operator::LessOrEqual;
    default:
        return comparison;
    }
}
