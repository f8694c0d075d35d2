#include "VXNearestWord.h"

#include <algorithm>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype furthest = 2;

// The number of letters to insert, omit or change in order to turn one word into the other.
qsizetype editDistance(const QString &a, const QString &b)
{
    std::vector<qsizetype> row(static_cast<std::size_t>(b.size()) + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = static_cast<qsizetype>(j);
    for (qsizetype i = 1; i <= a.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j < row.size(); ++j) {
            const bool isSame = a[i - 1] == b[static_cast<qsizetype>(j) - 1];
            const qsizetype best = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (isSame ? 0 : 1)});
            diagonal = std::exchange(row[j], best);
        }
    }
    return row.back();
}

} // namespace

QString VXNearestWord(const QString &typed, const QStringList &words)
{
    const QString folded = typed.toCaseFolded();
    QString nearest;
    std::pair<qsizetype, qsizetype> distance(furthest + 1, 0); // letters to change, then letters too many or too few
    for (const QString &word : words) {
        const qsizetype difference = std::abs(word.size() - typed.size());
        const bool isBeginning = typed.size() > 1 && word.startsWith(typed, Qt::CaseInsensitive);
        if (word == typed || (difference > furthest && !isBeginning)) // the word itself would not help
            continue;
        const std::pair wordDistance(isBeginning ? 0 : editDistance(folded, word.toCaseFolded()), difference);
        // The result does not depend on the order of the words.
        if (wordDistance.first < word.size() &&
            (wordDistance < distance || (wordDistance == distance && !nearest.isNull() && word < nearest))) {
            distance = wordDistance;
            nearest = word;
        }
    }
    return nearest;
}

QString VXDidYouMean(const QString &typed, const QStringList &words)
{
    const QString nearest = VXNearestWord(typed, words);
    return nearest.isNull() ? u""_s : u"; did you mean \"%1\"?"_s.arg(nearest);
}
