#include "VXGammuText.h"

#include <QtCore/QtEndian>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

QString VXGammuErrorText(GSM_Error code)
{
    return QString::fromLocal8Bit(GSM_ErrorString(code));
}

VXGammuFailure VXGammuTrouble(const QString &text, GSM_Error code)
{
    return {code, text, {VXGammuErrorText(code)}};
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

QDateTime VXDateFromGammu(const GSM_DateTime &date, VXGammuZone zone)
{
    const QDate day(date.Year, date.Month, date.Day);
    const QTime time(date.Hour, date.Minute, date.Second);
    if (!day.isValid() || !time.isValid())
        return {};
    if (zone == VXGammuZone::Told || date.Timezone != 0)
        return {day, time, Qt::OffsetFromUTC, date.Timezone};
    const QDateTime local(day, time, Qt::LocalTime);
    return local.toOffsetFromUtc(local.offsetFromUtc());
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

void VXAddParties(QVariantMap &record, bool isIncoming, const QString &number)
{
    record.insert(u"direction"_s, isIncoming ? 1 : 0);
    if (number.isEmpty())
        return;
    record.insert(u"number"_s, number);
    record.insert(isIncoming ? u"from"_s : u"to"_s, number);
}
