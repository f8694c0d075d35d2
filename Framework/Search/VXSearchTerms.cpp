#include "VXSearchTerms.h"

#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"
#include "VXTypedLetters.h"
#include "VXWrittenNumber.h"

#include <QtCore/QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype fewestDigits = 4;
constexpr qsizetype mostWords = 32;
constexpr qsizetype longestText = 1000;

// Each letter for itself of scripts without blanks between words.
QString separated(const QString &text)
{
    if (VXTypedLetters::isASCII(text))
        return text;
    QString result;
    result.reserve(text.size());
    for (const char32_t letter : text.toUcs4()) {
        const bool isWord = VXTypedLetters::isUnspaced(letter);
        if (isWord)
            result += u' ';
        result += QChar::fromUcs4(letter);
        if (isWord)
            result += u' ';
    }
    return result;
}

QStringList partsOf(const QString &text)
{
    return QString(text).replace(QChar(0), u' ').simplified().split(u' ', Qt::SkipEmptyParts);
}

// Folds the words, and drops those without a letter or digit, which the index does not take for words.
QStringList wordsOf(QStringList words)
{
    std::ranges::transform(words, words.begin(), VXSearchTerms::folded);
    words.removeIf([](const QString &word) {
        return std::ranges::none_of(word.toUcs4(), [](uint each) { return QChar::isLetterOrNumber(each); });
    });
    words.removeDuplicates();
    return words;
}

// Also with the blanks and hyphens that pages have.
bool isOfNumber(const QString &text)
{
    static const QRegularExpression number(u"^[-+0-9\\s\\p{Pd}()/.*#]+$"_s,
                                           QRegularExpression::UseUnicodePropertiesOption);
    return !text.isEmpty() && !text.front().isLetter() && number.match(text).hasMatch();
}

QString digitsOf(const QString &text)
{
    const QString digits = isOfNumber(text) ? VXPhoneNumberLookUpString(text) : QString();
    return digits.size() >= fewestDigits ? digits : QString();
}

// The number without what links, lists and this program write around it: "tel:+34600", "<+34600>,", "600/m". Otherwise
// the part itself.
QString bareNumber(const QString &part)
{
    static const QRegularExpression around(u"^[<\",;]*(?:(?:tel|sms|smsto|callto):)?|(?<=[0-9])(?:/[a-z]+)?[>\",;]*$"_s,
                                           QRegularExpression::CaseInsensitiveOption);
    if (std::ranges::none_of(part, [](QChar each) { return each.isDigit(); })) // as in most words
        return part;
    const QString bare = QString(part).remove(around);
    return isOfNumber(bare) ? bare : part;
}

} // namespace

VXSearchTerms::VXSearchTerms(const QString &text)
{
    const QString trimmed = VXPhonebookStringWithoutExtension(text.trimmed());
    if (trimmed.size() > longestText) {
        _problem =
            u"This is too long to search for: %1 characters, of at most %2."_s.arg(trimmed.size()).arg(longestText);
        return;
    }
    const QString ofOneWidth = withPlainDigits(trimmed.normalized(QString::NormalizationForm_KC));
    _words = wordsOf(partsOf(trimmed));
    QStringList parts = partsOf(VXWrittenNumber::in(ofOneWidth).number);
    std::ranges::transform(parts, parts.begin(), bareNumber);
    _digits = digitsOf(parts.join(u' '));
    read(ofOneWidth);
    if (_words.size() > mostWords)
        _problem = u"These are too many words to search for: %1, of at most %2."_s.arg(_words.size()).arg(mostWords);
}

// Digits separated by blanks are one number in the first reading, and each a number or a word in the second.
void VXSearchTerms::read(const QString &text)
{
    const QStringList parts = partsOf(text);
    Reading joined, apart;
    QStringList run, bareRun;
    const auto endRun = [&] {
        if (const QString digits = digitsOf(bareRun.join(u' ')); digits.isNull())
            joined.words += run;
        else
            joined.ends.append({digits, {}});
        run.clear();
        bareRun.clear();
    };
    for (const QString &part : parts) {
        const QString bare = bareNumber(part);
        const QString digits = digitsOf(bare);
        if (digits.isNull())
            apart.words.append(part);
        else
            apart.ends.append({digits, wordsOf({bare}).value(0)});
        if (isOfNumber(bare)) {
            run.append(part);
            bareRun.append(bare);
        } else {
            endRun();
            joined.words.append(part);
        }
    }
    endRun();
    const bool isOneNumber = joined.words.isEmpty(); // found by digits() of the whole text
    for (Reading *const reading : {&joined, &apart}) {
        reading->words = wordsOf(reading->words);
        const bool isKnown = reading == &joined ? isOneNumber : parts.size() < 2;
        if (!reading->ends.isEmpty() && !isKnown)
            _readings.append(*reading);
    }
}

QString VXSearchTerms::folded(const QString &text)
{
    return separated(VXTypedLetters::folded(text));
}

QString VXSearchTerms::indexed(const QString &text)
{
    const QString all = folded(text);
    const QStringList more = VXTypedLetters::wordsWithoutJoints(all);
    return more.isEmpty() ? all : all + u'\n' + more.join(u' ');
}

QString VXSearchTerms::withPlainDigits(const QString &text)
{
    if (VXTypedLetters::isASCII(text))
        return text;
    QString plain;
    for (const char32_t each : text.toUcs4()) {
        if (const int value = QChar::category(each) == QChar::Number_DecimalDigit ? QChar::digitValue(each) : -1;
            value >= 0)
            plain += QChar(u'0' + value);
        else
            plain += QChar::fromUcs4(each);
    }
    return plain;
}

// Quotes each word, so that nothing in it is taken for an operator.
QString VXSearchTerms::expression(const QStringList &words, Match match, Spelling spelling, const QString &kind)
{
    const auto quoted = [match](QString word) {
        return u'"' + word.replace(u'"', u' ') + (match == Match::Prefix ? "\" *"_L1 : "\""_L1);
    };
    QStringList terms;
    for (const QString &word : words) {
        QStringList ways{quoted(word)};
        if (const QString joined = VXTypedLetters::withoutJoints(word); !joined.isNull())
            ways.append(quoted(joined));
        if (spelling == Spelling::WithUmlauts) {
            if (const QString umlauts = VXTypedLetters::withoutDigraphs(word); !umlauts.isNull())
                ways.append(quoted(umlauts));
        }
        terms.append("text : "_L1 + (ways.size() == 1 ? ways.constFirst() : u'(' + ways.join(" OR "_L1) + u')'));
    }
    if (!kind.isNull())
        terms.append("kind : \""_L1 + QString(kind).replace(u'"', u' ') + u'"');
    return terms.join(" AND "_L1);
}

bool VXSearchTerms::mayHaveUmlauts() const
{
    return std::ranges::any_of(_words,
                               [](const QString &word) { return !VXTypedLetters::withoutDigraphs(word).isNull(); });
}
