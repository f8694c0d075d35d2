#include "VXShownText.h"

#include "VXBundle.h"

using namespace Qt::StringLiterals;

QString VXShownText(const QString &english)
{
    return english.isEmpty() ? english : VXBundle::mainBundle()->localizedStringForKey(english, {}, u"Terminal"_s);
}

QString VXShownWords(const QString &english)
{
    const qsizetype colon = english.indexOf(": "_L1);
    QStringList words = english.first(colon < 0 ? english.size() : colon).split(u", "_s);
    for (QString &word : words)
        word = VXShownText(word);
    return words.join(u", "_s) + (colon < 0 ? QString() : english.sliced(colon));
}
