#include "VXSearchTerms.h"

#include "VXPhoneNumber.h"

#include <QtCore/QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype fewestDigits = 4;
constexpr qsizetype mostWords = 32;
constexpr qsizetype longestText = 1000;

// Those that have a letter or digit: the others are no words to the index.
QStringList wordsOf(const QString &text)
{
    static const QRegularExpression space(u"\\s+"_s, QRegularExpression::UseUnicodePropertiesOption);
    QStringList words = QString(text).replace(QChar(0), u' ').split(space, Qt::SkipEmptyParts);
    words.removeIf([](const QString &word) {
        return std::ranges::none_of(word.toUcs4(), [](uint each) { return QChar::isLetterOrNumber(each); });
    });
    words.removeDuplicates();
    return words;
}

QString digitsOf(const QString &text)
{
    // Also with the blanks and hyphens that pages have.
    static const QRegularExpression number(u"^[-+0-9\\s\\p{Pd}()/.*#]+$"_s,
                                           QRegularExpression::UseUnicodePropertiesOption);
    const QString digits = number.match(text).hasMatch() ? VXPhoneNumberSearchString(text) : QString();
    return digits.size() >= fewestDigits ? digits : QString();
}

} // namespace

VXSearchTerms::VXSearchTerms(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.size() > longestText) {
        _problem =
            u"This is too long to search for: %1 characters, of at most %2."_s.arg(trimmed.size()).arg(longestText);
        return;
    }
    _words = wordsOf(trimmed);
    _digits = digitsOf(trimmed);
    if (_words.size() > mostWords)
        _problem = u"These are too many words to search for: %1, of at most %2."_s.arg(_words.size()).arg(mostWords);
}

// Each word in quotes, so that nothing in it is taken for an operator.
QString VXSearchTerms::expression(const QStringList &words, Match match, const QString &kind)
{
    QStringList terms;
    for (QString word : words)
        terms.append("text : \""_L1 + word.replace(u'"', u' ') + (match == Match::Prefix ? "\" *"_L1 : "\""_L1));
    if (!kind.isNull())
        terms.append("kind : \""_L1 + QString(kind).replace(u'"', u' ') + u'"');
    return terms.join(" AND "_L1);
}
