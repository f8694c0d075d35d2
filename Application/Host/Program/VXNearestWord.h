#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The word that was most likely meant: it begins with the typed one, of at least two letters, or differs from it by at
 * most two letters; of several, the one nearest in length, then the first in the alphabet. Upper and lower case are
 * equal, but the typed word itself is never returned. Null if there is none.
 */
[[nodiscard]] QString VXNearestWord(const QString &typed, const QStringList &words);

/** "; did you mean "WORD"?", to be appended to an error message; empty if no word is near. */
[[nodiscard]] QString VXDidYouMean(const QString &typed, const QStringList &words);
