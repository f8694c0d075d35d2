#include "VXLogEntry.h"

#include "VXLog.h"

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

QJsonObject VXLogEntry::toJSON() const
{
    return {{u"date"_s, date},
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
