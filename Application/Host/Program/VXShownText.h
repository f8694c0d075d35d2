#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * One of our titles or words in the user's language, from the table "Terminal" of the application's bundle; unchanged
 * if it is missing there.
 */
[[nodiscard]] QString VXShownText(const QString &english);
/** The same for each of several words separated by commas; what follows a colon is left as it is. */
[[nodiscard]] QString VXShownWords(const QString &english);
