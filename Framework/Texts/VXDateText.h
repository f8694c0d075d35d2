#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

/** How much a text says of a moment. */
enum class VXDateStyle {
    Full,  // "yesterday, 09:12", "Monday, 09:12", "3 March, 09:12", "3 March 2021, 09:12"
    Short, // for a narrow column: "09:12" of today, else "yesterday", "Monday", "3 March", "03/03/2021"
    Day,   // for what parts a list: "today", "yesterday", "Monday", "3 March", "3 March 2021"
};

/**
 * When something was or will be, as people say it on the day of `now`: today and the days beside it by name, the six days before
 * by their weekday, this year's days without the year. In the user's zone, language and locale; null for an invalid date. Any
 * thread.
 */
[[nodiscard]] VX_EXPORT QString VXTextOfDate(const QDateTime &date, VXDateStyle style = VXDateStyle::Full,
                                             const QDateTime &now = QDateTime::currentDateTime());

/**
 * How long something took, in its two largest units: "0 s", "5 s", "1 min 5 s", "2 h", "2 h 3 min", "3 d 4 h". Seconds, parts of
 * them dropped; a negative length gets a minus sign. Null for what is no number. Any thread.
 */
[[nodiscard]] VX_EXPORT QString VXTextOfDuration(double seconds);
