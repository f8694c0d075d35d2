#include "VXConstantSet.h"

#include "VXNone.h"
#include "VXNumber.h"
#include "VXValueComparison.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace {

// For integers, and reals without a fraction.
std::optional<qint64> wholeNumber(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool ||
        (VXIsWholeNumber(value.metaType()) && VXEqualValues(value.toLongLong(), value)))
        return value.toLongLong();
    const double real = VXIsRealNumber(value.metaType()) ? value.toDouble() : std::numeric_limits<double>::infinity();
    if (!(real >= -0x1p63 && real < 0x1p63) || real != double(qint64(real)))
        return std::nullopt;
    return qint64(real);
}

} // namespace

VXConstantSet::VXConstantSet(const QVariantList &elements, VXTextOptions options) : _options(options)
{
    for (const QVariant &element : elements) {
        if (VXIsNone(element))
            _others.append(element);
        else if (element.typeId() == QMetaType::QString)
            _texts.insert(VXFoldedText(element.toString(), options));
        else if (const std::optional<qint64> number = wholeNumber(element))
            _numbers.insert(*number);
        else
            _others.append(element);
    }
}

bool VXConstantSet::contains(const QVariant &value) const
{
    if (!VXIsNone(value)) {
        if (value.typeId() == QMetaType::QString)
            return _texts.contains(VXFoldedText(value.toString(), _options));
        if (const std::optional<qint64> number = wholeNumber(value))
            return _numbers.contains(*number);
    }
    return std::any_of(_others.cbegin(), _others.cend(),
                       [&](const QVariant &element) { return VXEqualValues(element, value); });
}
