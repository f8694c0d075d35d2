#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

/** How much of a date is shown. */
enum class VXDateStyle {
    Full,  // "yesterday, 09:12", "Monday, 09:12", "3 March, 09:12", "3 March 2021, 09:12"
    Short, // for narrow columns: "09:12" for today, otherwise "yesterday", "Monday", "3 March", "03/03/2021"
    Day,   // for dividers in a list: "today", "yesterday", "Monday", "3 March", "3 March 2021"
};

/**
 * A date as people express it on the day of `now`: today and its neighbours by name, the six days before by weekday,
 * other days of the year without the year. In the user's time zone, language and locale; null for an invalid date. Any
 * thread.
 */
[[nodiscard]] VX_EXPORT QString VXTextOfDate(const QDateTime &date, VXDateStyle style = VXDateStyle::Full,
                                             const QDateTime &now = QDateTime::currentDateTime());

/**
 * A duration in its two largest units: "0 s", "5 s", "1 min 5 s", "2 h", "2 h 3 min", "3 d 4 h". In seconds, fractions
 * dropped; negative ones with a minus sign. Null for NaN. Any thread.
 */
[[nodiscard]] VX_EXPORT QString VXTextOfDuration(double seconds);
