#include "VXConstantSet.h"

#include "VXKeyValueCoding.h"
#include "VXNone.h"
#include "VXNumber.h"
#include "VXValueComparison.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace {

// For integers, and reals without a fraction.
std::optional<qint64> wholeNumber(const QVariant &value)
{
    if (const std::optional<qint64> number = VXWholeNumber(value))
        return number;
    const double real = VXIsRealNumber(value.metaType()) ? value.toDouble() : std::numeric_limits<double>::infinity();
    if (!(real >= -0x1p63 && real < 0x1p63) || real != double(qint64(real)))
        return std::nullopt;
    return qint64(real);
}

} // namespace

// Calls with the set that holds values of that kind, and with what stands for the value there. Empty for one of another kind.
template <class Set, class Call>
std::optional<bool> VXConstantSet::find(Set &self, const QVariant &value, const Call &call)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return call(self._texts, VXFoldedText(value.toString(), self._options));
    case QMetaType::QByteArray:
        return call(self._data, value.toByteArray());
    case QMetaType::QDateTime:
        return call(self._dates, value.toDateTime().toMSecsSinceEpoch());
    default:
        break;
    }
    if (const std::optional<qint64> number = wholeNumber(value))
        return call(self._numbers, *number);
    if (VXIsWholeNumber(value.metaType()) || VXIsRealNumber(value.metaType())) {
        const double real = value.toDouble();
        return !std::isnan(real) && call(self._reals, real); // not a number equals nothing
    }
    if (value.metaType() == QMetaType::fromType<VXManagedObjectID>())
        return call(self._objectIDs, value.value<VXManagedObjectID>());
    if (VXKeyValueCoding *const object = value.value<VXKeyValueCoding *>())
        return call(self._objects, std::pair(value.typeId(), object));
    return std::nullopt;
}

VXConstantSet::VXConstantSet(const QVariantList &elements, VXTextOptions options) : _options(options)
{
    const auto insert = [](auto &set, const auto &key) {
        set.insert(key);
        return true;
    };
    for (const QVariant &element : elements) {
        if (VXIsNone(element))
            _hasNone = true;
        else if (!find(*this, element, insert))
            _others.append(element);
    }
}

bool VXConstantSet::contains(const QVariant &value) const
{
    if (VXIsNone(value))
        return _hasNone;
    if (const auto found = find(*this, value, [](const auto &set, const auto &key) { return set.contains(key); }))
        return *found;
    return std::any_of(_others.cbegin(), _others.cend(),
                       [&](const QVariant &element) { return VXEqualValues(element, value); });
}
