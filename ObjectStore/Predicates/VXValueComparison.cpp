#include "VXValueComparison.h"

#include "VXNone.h"
#include "VXNumber.h"

#include <QtCore/QDateTime>

#include <limits>

namespace {

enum class Family { None, Whole, Real, Text, Date, Data, Other };

Family familyOf(const QVariant &value)
{
    if (VXIsNone(value))
        return Family::None;
    if (VXIsWholeNumber(value.metaType())) {
        // A number beyond the signed range is compared as real.
        const bool isLarge = value.toULongLong() > quint64(std::numeric_limits<qint64>::max()) && value.toDouble() > 0;
        return isLarge ? Family::Real : Family::Whole;
    }
    if (VXIsRealNumber(value.metaType()))
        return Family::Real;
    switch (value.typeId()) {
    case QMetaType::Bool:
        return Family::Whole;
    case QMetaType::QString:
        return Family::Text;
    case QMetaType::QDateTime:
        return Family::Date;
    case QMetaType::QByteArray:
        return Family::Data;
    default:
        return Family::Other;
    }
}

// Exact even if the integer has more digits than a double can hold.
std::partial_ordering compareWholeWithReal(qint64 whole, double real)
{
    if (real != real)
        return std::partial_ordering::unordered;
    if (real >= 0x1p63)
        return std::partial_ordering::less;
    if (real < -0x1p63)
        return std::partial_ordering::greater;
    const auto truncated = qint64(real);
    if (whole != truncated)
        return whole <=> truncated;
    return 0.0 <=> real - double(truncated);
}

std::partial_ordering reversed(std::partial_ordering order)
{
    return 0 <=> order;
}

} // namespace

std::partial_ordering VXCompareValues(const QVariant &a, const QVariant &b)
{
    const Family left = familyOf(a);
    const Family right = familyOf(b);
    if (left == Family::None || right == Family::None)
        return (left != Family::None) <=> (right != Family::None);
    if (left == Family::Whole && right == Family::Real)
        return compareWholeWithReal(a.toLongLong(), b.toDouble());
    if (left == Family::Real && right == Family::Whole)
        return reversed(compareWholeWithReal(b.toLongLong(), a.toDouble()));
    if (left != right)
        return std::partial_ordering::unordered;
    switch (left) {
    case Family::Whole:
        return a.toLongLong() <=> b.toLongLong();
    case Family::Real:
        return a.toDouble() <=> b.toDouble();
    case Family::Text:
        return static_cast<const QString *>(a.constData())->compare(*static_cast<const QString *>(b.constData())) <=> 0;
    case Family::Date:
        return a.toDateTime().toMSecsSinceEpoch() <=> b.toDateTime().toMSecsSinceEpoch();
    case Family::Data:
        return a.toByteArray().compare(b.toByteArray()) <=> 0;
    default:
        return std::partial_ordering::unordered;
    }
}

bool VXEqualValues(const QVariant &a, const QVariant &b)
{
    return VXCompareValues(a, b) == 0 || (familyOf(a) == Family::Other && a == b);
}

std::optional<qint64> VXWholeNumber(const QVariant &value)
{
    return familyOf(value) == Family::Whole ? std::optional<qint64>(value.toLongLong()) : std::nullopt;
}
