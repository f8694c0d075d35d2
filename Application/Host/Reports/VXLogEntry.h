#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <optional>

/** One entry of the log file: its first line taken apart, continuation lines added to the message. */
struct VXLogEntry
{
    QString date; // as the log has it, local time without a year: "Nov 15 22:04:32.118"
    qint64 process = 0;
    qint64 thread = 0;
    QString levelName; // "ERROR"
    unsigned level = 0;
    QString message;

    /** None for a line that continues the entry before it. `line` without its line feed. */
    [[nodiscard]] static std::optional<VXLogEntry> fromLine(const QByteArray &line);

    /** The date with the year, the last one in which it is not later than `now`; invalid when it is none. */
    QDateTime fullDate(const QDateTime &now = QDateTime::currentDateTime()) const;

    /** The keys date (ISO 8601), process, thread, level (the name) and message. */
    QJsonObject toJSON() const;
};

/** The number of a level given as number or name, in either case; none for anything else. */
[[nodiscard]] std::optional<unsigned> VXLogLevelFromText(const QString &text);
