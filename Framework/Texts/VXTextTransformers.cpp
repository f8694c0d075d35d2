#include "VXTextTransformers.h"

#include "VXTextLocale.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostDecimals = 2;
constexpr double wholeUpTo = 9.0e15; // up to this, doubles represent every whole number

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Float:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

bool isReal(const QVariant &value)
{
    return value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float;
}

QVariant valueOfText(const QString &text)
{
    return text.isNull() ? QVariant() : QVariant(text);
}

QString textOfReal(double number, const QLocale &locale)
{
    QString text = locale.toString(number, 'f', mostDecimals);
    const QString zeros = locale.decimalPoint() + QString(mostDecimals, locale.zeroDigit().at(0));
    if (text.endsWith(zeros))
        text.chop(zeros.size());
    else if (text.endsWith(locale.zeroDigit()))
        text.chop(1);
    return text;
}

} // namespace

QVariant VXDateTransformer::transformedValue(const QVariant &value) const
{
    if (value.typeId() == QMetaType::QDate) { // has no time to show
        const QDateTime noon(value.toDate(), QTime(12, 0));
        return valueOfText(VXTextOfDate(noon, _style == VXDateStyle::Full ? VXDateStyle::Day : _style));
    }
    return value.typeId() == QMetaType::QDateTime ? valueOfText(VXTextOfDate(value.toDateTime(), _style)) : QVariant();
}

QVariant VXDurationTransformer::transformedValue(const QVariant &value) const
{
    return isNumber(value) ? valueOfText(VXTextOfDuration(value.toDouble())) : QVariant();
}

QVariant VXNumberTransformer::transformedValue(const QVariant &value) const
{
    if (!isNumber(value))
        return {};
    const QLocale locale = VXTextLocale();
    if (value.typeId() == QMetaType::ULongLong)
        return locale.toString(value.toULongLong());
    if (!isReal(value))
        return locale.toString(value.toLongLong());
    const double number = value.toDouble();
    return std::isfinite(number) ? QVariant(textOfReal(number, locale)) : QVariant();
}

QVariant VXNumberTransformer::reverseTransformedValue(const QVariant &value) const
{
    if (value.typeId() != QMetaType::QString)
        return {};
    const QLocale locale = VXTextLocale();
    const QString text = value.toString().trimmed();
    bool isOk = false;
    if (const qlonglong whole = locale.toLongLong(text, &isOk); isOk)
        return whole;
    const double real = locale.toDouble(text, &isOk);
    return isOk && std::isfinite(real) ? QVariant(real) : QVariant();
}

QVariant VXByteCountTransformer::transformedValue(const QVariant &value) const
{
    const double count = isNumber(value) ? value.toDouble() : -1;
    if (!(count >= 0 && count < wholeUpTo))
        return {};
    return VXTextLocale().formattedDataSize(static_cast<qint64>(count), 1, QLocale::DataSizeSIFormat);
}

void VXRegisterTextTransformers()
{
    const auto put = [](const QString &name, const VXValueTransformer::Ptr &transformer) {
        VXValueTransformer::setValueTransformer(name, transformer);
    };
    put(u"VXDateTransformer"_s, std::make_shared<VXDateTransformer>(VXDateStyle::Full));
    put(u"VXShortDateTransformer"_s, std::make_shared<VXDateTransformer>(VXDateStyle::Short));
    put(u"VXDayTransformer"_s, std::make_shared<VXDateTransformer>(VXDateStyle::Day));
    put(u"VXDurationTransformer"_s, std::make_shared<VXDurationTransformer>());
    put(u"VXNumberTransformer"_s, std::make_shared<VXNumberTransformer>());
    put(u"VXByteCountTransformer"_s, std::make_shared<VXByteCountTransformer>());
}
