#include "VXDateText.h"

#include "VXFramework.h"
#include "VXTextLocale.h"

#include <QtCore/QRegularExpression>

#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int daysByWeekday = 6;

// The format of a day without weekday, and without year unless wanted.
QString dayFormat(const QLocale &locale, bool hasYear)
{
    static const QRegularExpression weekday(u"^d{3,4}\\p{P}?\\s*|\\s*\\p{P}?\\s*d{3,4}$"_s);
    static const QRegularExpression year(u"\\s*('[^']*')?[\\s,./-]*y+(年|년)?[\\s.]*('[^']*')?[\\s,./-]*"_s);
    QString format = locale.dateFormat(QLocale::LongFormat);
    format.remove(weekday);
    if (!hasYear)
        format.replace(year, u" "_s);
    return format.trimmed();
}

// Null when the day has no name and is shown by its date.
QString nameOfDay(const QDate &day, const QDate &today, const QLocale &locale)
{
    const qint64 distance = today.daysTo(day);
    if (distance == 0)
        return VXLocalizedString(u"today"_s);
    if (distance == -1)
        return VXLocalizedString(u"yesterday"_s);
    if (distance == 1)
        return VXLocalizedString(u"tomorrow"_s);
    if (distance < 0 && distance >= -daysByWeekday)
        return locale.standaloneDayName(day.dayOfWeek());
    return {};
}

QString withTime(const QString &day, const QTime &time, const QLocale &locale)
{
    return VXLocalizedString(u"%1, %2"_s).arg(day, locale.toString(time, QLocale::ShortFormat));
}

} // namespace

QString VXTextOfDate(const QDateTime &date, VXDateStyle style, const QDateTime &now)
{
    if (!date.isValid())
        return {};
    const QDateTime local = date.toLocalTime();
    const QDate today = now.toLocalTime().date();
    const QLocale locale = VXTextLocale();
    const bool isThisYear = local.date().year() == today.year();
    QString day = nameOfDay(local.date(), today, locale);
    if (style == VXDateStyle::Short) {
        if (local.date() == today)
            return locale.toString(local.time(), QLocale::ShortFormat);
        if (day.isNull() && !isThisYear)
            return locale.toString(local.date(), QLocale::ShortFormat);
    }
    if (day.isNull())
        day = locale.toString(local.date(), dayFormat(locale, !isThisYear));
    return style == VXDateStyle::Full ? withTime(day, local.time(), locale) : day;
}

QString VXTextOfDuration(double seconds)
{
    struct Unit
    {
        qint64 seconds;
        QString format;
    };
    static const std::array<Unit, 4> units{{{86400, u"%1 d"_s}, {3600, u"%1 h"_s}, {60, u"%1 min"_s}, {1, u"%1 s"_s}}};
    constexpr double most = 9.0e15; // beyond this, doubles cannot represent every second
    if (!std::isfinite(seconds) || std::abs(seconds) > most)
        return {};
    qint64 rest = std::llabs(static_cast<qint64>(seconds));
    const QLocale locale = VXTextLocale();
    QStringList parts;
    for (const Unit &unit : units) {
        const qint64 count = rest / unit.seconds;
        rest %= unit.seconds;
        if (count > 0)
            parts.append(VXLocalizedString(unit.format).arg(locale.toString(count)));
        else if (!parts.isEmpty())
            break; // "2 h 4 s" would be too precise
        if (parts.size() == 2)
            break;
    }
    if (parts.isEmpty())
        return VXLocalizedString(units.back().format).arg(locale.toString(0));
    const QString text = parts.join(QChar::Nbsp);
    return seconds < 0 ? locale.negativeSign() + text : text;
}
