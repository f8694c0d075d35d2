#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

/**
 * A date in the form in which all commands show it to people: local time with the zone, such as "2026-03-01 11:00:00
 * +01:00". Empty if there is none.
 */
[[nodiscard]] QString VXShownDate(const QDateTime &date);

/**
 * The same for reports with --json: ISO 8601 in UTC, such as "2026-03-01T10:00:00Z". Null if there is none. Values that
 * can be passed to a command again are written by VXJSONFromVariant instead.
 */
[[nodiscard]] QJsonValue VXReportedDate(const QDateTime &date);

/** Seconds as minutes and seconds, "1:01"; empty if they are none. */
[[nodiscard]] QString VXShownDuration(double seconds);
