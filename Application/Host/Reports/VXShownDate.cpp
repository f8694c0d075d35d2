#include "VXShownDate.h"

#include <cmath>
#include <cstdlib>

using namespace Qt::StringLiterals;

QString VXShownDate(const QDateTime &date)
{
    if (!date.isValid())
        return {};
    constexpr int minute = 60;
    const QDateTime local = date.toLocalTime();
    const int offset = local.offsetFromUtc() / minute;
    return local.toString(u"yyyy-MM-dd HH:mm:ss "_s) + (offset < 0 ? u'-' : u'+') +
           QTime(0, 0).addSecs(std::abs(offset) * minute).toString(u"HH:mm"_s);
}

QJsonValue VXReportedDate(const QDateTime &date)
{
    if (!date.isValid())
        return {};
    const QDateTime utc = date.toUTC();
    return utc.toString(utc.time().msec() == 0 ? Qt::ISODate : Qt::ISODateWithMs);
}

QString VXShownDuration(double seconds)
{
    const qint64 whole = std::llround(seconds);
    return whole == 0 ? QString() : u"%1:%2"_s.arg(int(whole / 60)).arg(int(whole % 60), 2, 10, QLatin1Char('0'));
}
