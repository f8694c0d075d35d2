#include "VXTextEscaping.h"

#include "VXCharacterSet.h"
#include "VXCodePoint.h"

QString VXTextEscaping::stringByEscapingCharactersInString(const QString &text, QStringView set)
{
    const auto members = VXCharacterSet::characterSetWithCharactersInString(set);
    if (!members.containsAnyMember(text))
        return text;
    const QStringView source(text);
    QString escaped;
    escaped.reserve(source.size() + 1);
    for (qsizetype index = 0; index < source.size();) {
        const qsizetype start = index;
        if (members.characterIsMember(VXNextCodePoint(source, index)))
            escaped += u'\\';
        escaped += source.sliced(start, index - start);
    }
    return escaped;
}

QString VXTextEscaping::stringByUnescapingCharactersInString(const QString &text, QStringView set)
{
    const QStringView source(text);
    qsizetype backslash = source.indexOf(u'\\');
    if (backslash < 0)
        return text;
    const auto members = VXCharacterSet::characterSetWithCharactersInString(set);
    QString unescaped;
    unescaped.reserve(source.size());
    qsizetype copied = 0;
    while (backslash >= 0) {
        unescaped += source.sliced(copied, backslash - copied);
        copied = backslash + 1;
        if (copied == source.size())
            break;
        qsizetype next = copied;
        if (!members.characterIsMember(VXNextCodePoint(source, next)))
            copied = backslash; // keep both
        backslash = source.indexOf(u'\\', next);
    }
    unescaped += source.sliced(copied);
    return unescaped;
}
