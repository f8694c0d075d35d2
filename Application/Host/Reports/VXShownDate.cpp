#include "VXShownDate.h"

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
