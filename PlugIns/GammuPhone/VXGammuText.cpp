#include "VXGammuText.h"

#include "VXBundle.h"
#include "VXErrorDomain.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QtEndian>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

const QString VXGammuErrorDomain = u"VXGammuErrorDomain"_s;

namespace {

const QString pluginIdentifier = u"com.halvern.VNX2.GammuPhone"_s;

} // namespace

QString VXGammuLocalizedString(const QString &key)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(pluginIdentifier);
    return bundle ? bundle->localizedStringForKey(key) : key;
}

QString VXGammuErrorText(GSM_Error code)
{
    return QString::fromLocal8Bit(GSM_ErrorString(code));
}

VXError VXMakeGammuError(const QString &description, GSM_Error code)
{
    return {VXGammuErrorDomain, code, {{VXLocalizedDescriptionKey, description.arg(VXGammuErrorText(code))}}};
}

VXError VXMakeGammuRequestError(const QString &description)
{
    return {VXErrorDomain, VXErrorGeneral, {{VXLocalizedDescriptionKey, description}}};
}

QString VXTextFromGammu(const unsigned char *text)
{
    const size_t length = UnicodeLength(text);
    QString result(qsizetype(length), Qt::Uninitialized);
    qFromBigEndian<char16_t>(text, qsizetype(length), result.data());
    return result;
}

bool VXTextToGammu(const QString &text, std::span<unsigned char> destination)
{
    const size_t bytes = size_t(text.size()) * 2;
    if (bytes + 2 > destination.size() || text.contains(QChar(u'\0')))
        return false;
    qToBigEndian<char16_t>(text.constData(), text.size(), destination.data());
    destination[bytes] = destination[bytes + 1] = 0;
    return true;
}

QDateTime VXDateFromGammu(const GSM_DateTime &date)
{
    const QDate day(date.Year, date.Month, date.Day);
    const QTime time(date.Hour, date.Minute, date.Second);
    if (!day.isValid() || !time.isValid())
        return {};
    return {day, time, Qt::OffsetFromUTC, date.Timezone};
}

GSM_DateTime VXDateToGammu(const QDateTime &date)
{
    const QDate day = date.date();
    const QTime time = date.time();
    return {.Timezone = date.offsetFromUtc(),
            .Second = time.second(),
            .Minute = time.minute(),
            .Hour = time.hour(),
            .Day = day.day(),
            .Month = day.month(),
            .Year = day.year()};
}

int VXLocationFromVariant(const QVariant &value)
{
    const double number = value.toDouble(); // as JSON has it
    const bool isLocation = number >= 1 && number <= std::numeric_limits<int>::max() && number == std::floor(number);
    return isLocation ? static_cast<int>(number) : 0;
}

QString VXDialableNumber(const QString &number)
{
    static const QRegularExpression writing(u"[\\s().\\-/]"_s);
    static const QRegularExpression dialable(u"^\\+?[0-9*#]{1,40}$"_s);
    const QString bare = QString(number).remove(writing);
    return dialable.match(bare).hasMatch() ? bare : QString();
}
