// Any bytes: reading ends with a value or an error, and what can be written reads back as the same value.

#include "VXFuzzing.h"
#include "VXPropertyList.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cmath>

namespace {

using Format = VXPropertyList::Format;

// The XML form has whole seconds only.
qint64 heldTime(const QVariant &date, Format format)
{
    const qint64 milliseconds = date.toDateTime().toMSecsSinceEpoch();
    return format == Format::Binary ? milliseconds : qint64(std::floor(double(milliseconds) / 1000));
}

bool isSame(const QVariant &a, const QVariant &b, Format format)
{
    if (a.metaType() != b.metaType())
        return false;
    switch (a.metaType().id()) {
    case QMetaType::QDateTime:
        return heldTime(a, format) == heldTime(b, format);
    case QMetaType::Double:
        return a.toDouble() == b.toDouble() || (std::isnan(a.toDouble()) && std::isnan(b.toDouble()));
    case QMetaType::QVariantList: {
        const QVariantList first = a.toList();
        const QVariantList second = b.toList();
        return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                          [format](const QVariant &x, const QVariant &y) { return isSame(x, y, format); });
    }
    case QMetaType::QVariantMap: {
        const QVariantMap first = a.toMap();
        const QVariantMap second = b.toMap();
        return first.keys() == second.keys() &&
               std::equal(first.begin(), first.end(), second.begin(),
                          [format](const QVariant &x, const QVariant &y) { return isSame(x, y, format); });
    }
    default:
        return a == b;
    }
}

void checkRoundTrip(const QVariant &value, Format format)
{
    VXError error;
    const QByteArray data = VXPropertyList::toData(value, format, &error);
    require(data.isNull() == bool(error));
    if (format == Format::XML || VXPropertyList::isValid(value))
        require(data.isNull() != VXPropertyList::isValid(value));
    if (data.isNull())
        return;
    Format found = format == Format::XML ? Format::Binary : Format::XML;
    const QVariant read = VXPropertyList::fromData(data, &error, &found);
    require(!error && found == format && isSame(value, read, format));
    // In the binary form it is chance which equal data libplist shares.
    if (format == Format::XML)
        require(VXPropertyList::toData(read, format) == data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    VXError error;
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariant value = VXPropertyList::fromData(bytes, &error);
    require(value.isValid() != bool(error));
    if (!value.isValid())
        return 0;
    checkRoundTrip(value, Format::XML);
    checkRoundTrip(value, Format::Binary);
    return 0;
}
