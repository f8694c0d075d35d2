#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/** A title or word of ours in the user's language: the table "Terminal" of the application's bundle; as it is where that lacks it. */
[[nodiscard]] QString VXShownText(const QString &english);
/** The same of each of several words, with commas between; what is behind a colon is left as it is. */
[[nodiscard]] QString VXShownWords(const QString &english);
