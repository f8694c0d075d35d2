#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/** The one of the words that was most likely meant: that begins with the typed one, of two letters at least, or is at most
 *  two letters away from it; of several the one nearest in length, then the first by alphabet. Letters of either case are
 *  equal, but the typed word itself is never meant. Null when none is. */
[[nodiscard]] QString VXNearestWord(const QString &typed, const QStringList &words);

/** "; did you mean "WORD"?", to be put behind a refusal; empty when no word is near. */
[[nodiscard]] QString VXDidYouMean(const QString &typed, const QStringList &words);
