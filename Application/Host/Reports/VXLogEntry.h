#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <optional>

/** One entry of the log file: its first line divided into parts, and continuation lines added to the message. */
struct VXLogEntry
{
    QString date; // as in the log, local time without a year: "Nov 15 22:04:32.118"
    qint64 process = 0;
    qint64 thread = 0;
    QString levelName; // "ERROR"
    unsigned level = 0;
    QString message;

    /** None for a line that continues the previous entry. `line` has no line feed. */
    [[nodiscard]] static std::optional<VXLogEntry> fromLine(const QByteArray &line);

    /** The date with the year, the latest one in which the date is not later than `now`; invalid if it is not a date.
     *  */
    QDateTime fullDate(const QDateTime &now = QDateTime::currentDateTime()) const;

    /** The keys date (ISO 8601), process, thread, level (the name) and message. */
    QJsonObject toJSON() const;
};

/** The number of a level given as a number or a name, in upper or lower case; none for anything else. */
[[nodiscard]] std::optional<unsigned> VXLogLevelFromText(const QString &text);
