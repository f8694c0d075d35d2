#include "VXPredicateWords.h"

#include <QtCore/QSet>

using namespace Qt::StringLiterals;

bool VXIsPredicateWord(const QString &word)
{
    static const QSet<QString> words = {
        u"and"_s,      u"or"_s,         u"not"_s,      u"any"_s,     u"some"_s,          u"all"_s,
        u"none"_s,     u"in"_s,         u"like"_s,     u"self"_s,    u"nil"_s,           u"null"_s,
        u"true"_s,     u"false"_s,      u"yes"_s,      u"no"_s,      u"cast"_s,          u"between"_s,
        u"contains"_s, u"beginswith"_s, u"endswith"_s, u"matches"_s, u"truepredicate"_s, u"falsepredicate"_s};
    return words.contains(word.toLower());
}
