#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

/** A moment as all commands show it to people: local, with the zone, as "2026-03-01 11:00:00 +01:00". Empty for none. */
[[nodiscard]] QString VXShownDate(const QDateTime &date);

/** The same in what a command reports with --json: ISO 8601 in UTC, as "2026-03-01T10:00:00Z". Null for none. Values that can be
 *  given back to a command are written by VXJSONFromVariant instead. */
[[nodiscard]] QJsonValue VXReportedDate(const QDateTime &date);
