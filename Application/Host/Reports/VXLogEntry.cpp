#include "VXLogEntry.h"

#include "VXLog.h"

#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

std::optional<VXLogEntry> VXLogEntry::fromLine(const QByteArray &line)
{
    static const QRegularExpression pattern(
        uR"(^(\S+ \d\d \d\d:\d\d:\d\d\.\d{3}) \[(\d+):(\d+)\] <([A-Z]+|Level \d+)>(?: (.*))?$)"_s,
        QRegularExpression::DotMatchesEverythingOption);
    const auto match = pattern.match(QString::fromUtf8(line));
    if (!match.hasMatch())
        return {};
    const auto level = VXLogLevelFromText(match.captured(4));
    if (!level)
        return {};
    return VXLogEntry{
        match.captured(1), match.captured(2).toLongLong(), match.captured(3).toLongLong(), match.captured(4), *level,
        match.captured(5)};
}

QDateTime VXLogEntry::fullDate(const QDateTime &now) const
{
    constexpr int leapYears = 8; // the last February 29 may be that many years ago
    for (int year = now.date().year(); year >= now.date().year() - leapYears; --year) {
        const QDateTime full = QLocale::c().toDateTime(u"%1 %2"_s.arg(year).arg(date), u"yyyy MMM dd hh:mm:ss.zzz"_s);
        if (full.isValid() && full <= now.addDays(1)) // a clock may have been set back
            return full;
    }
    return {};
}

QJsonObject VXLogEntry::toJSON() const
{
    const QDateTime full = fullDate();
    return {{u"date"_s, full.isValid() ? full.toOffsetFromUtc(full.offsetFromUtc()).toString(Qt::ISODateWithMs) : date},
            {u"process"_s, process},
            {u"thread"_s, thread},
            {u"level"_s, levelName},
            {u"message"_s, message}};
}

std::optional<unsigned> VXLogLevelFromText(const QString &text)
{
    for (unsigned level = VXLogFatal; level <= VXLogDebug; ++level) {
        if (text.compare(VXLog::logLevelString(level), Qt::CaseInsensitive) == 0)
            return level;
    }
    const bool isOther = text.startsWith("Level "_L1, Qt::CaseInsensitive);
    bool isNumber = false;
    const unsigned number = (isOther ? text.sliced(6) : text).toUInt(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}
