#include "VXSearchTerms.h"

#include "VXPhoneNumber.h"
#include "VXTextComparison.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <iterator>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype fewestDigits = 4;
constexpr qsizetype mostWords = 32;
constexpr qsizetype longestText = 1000;

bool isASCII(const QString &text)
{
    return std::ranges::all_of(text, [](QChar each) { return each.unicode() < 0x80; });
}

// How people type letters that Unicode does not decompose; empty for characters within words that are no letters.
std::optional<QStringView> spelling(QChar letter)
{
    switch (letter.toCaseFolded().unicode()) {
    case u'ß':
        return u"ss";
    case u'æ':
        return u"ae";
    case u'œ':
        return u"oe";
    case u'ø':
        return u"o";
    case u'ł':
        return u"l";
    case u'đ':
    case u'ð':
        return u"d";
    case u'ħ':
        return u"h";
    case u'þ':
        return u"th";
    case u'ı':
        return u"i";
    case 0x02bc: // apostrophes; Unicode takes the first for a letter
    case 0x2018:
    case 0x2019:
    case 0x00b4:
    case 0x0060:
        return u"'";
    case 0x2010: // hyphens
    case 0x2011:
        return u"-";
    case 0x0649: // alef maksura: yeh without its dots
    case 0x06cc: // yeh of Persian and Urdu
        return u"\u064a";
    case 0x06a9: // keheh
        return u"\u0643";
    case 0x0629: // teh marbuta: heh with dots
    case 0x06c1: // heh of Urdu
        return u"\u0647";
    case 0x00ad: // soft hyphen
    case 0x0640: // tatweel, which lengthens Arabic words
        return u"";
    default:
        return std::nullopt;
    }
}

bool isJoint(QChar each)
{
    return each == u'\'' || each == u'-';
}

// "ONeill" for "O'Neill"; null for words without an apostrophe or hyphen between letters.
QString withoutJoints(const QString &word)
{
    const auto joins = [&word](qsizetype at) {
        return isJoint(word[at]) && word[at - 1].isLetter() && word[at + 1].isLetter();
    };
    QString joined;
    for (qsizetype at = 1; at + 1 < word.size(); ++at) {
        if (joins(at)) {
            joined = word;
            joined.removeIf(isJoint);
            break;
        }
    }
    return joined;
}

// `text` is folded.
QStringList jointlessWords(const QString &text)
{
    QStringList words;
    const auto isOfWord = [](QChar each) { return each.isLetterOrNumber() || each.isSurrogate() || isJoint(each); };
    const auto joint = [&text](auto from) { return std::find_if(from, text.cend(), isJoint); };
    for (auto at = joint(text.cbegin()); at != text.cend();) {
        const auto before = std::make_reverse_iterator(at);
        const auto first = std::find_if_not(before, text.crend(), isOfWord).base();
        const auto end = std::find_if_not(at, text.cend(), isOfWord);
        if (const QString joined = withoutJoints(QString(first, end - first)); !joined.isNull())
            words.append(joined);
        at = joint(end);
    }
    return words;
}

// Whether the letter's script puts no blanks between words.
bool isUnspaced(char32_t letter)
{
    switch (QChar::script(letter)) {
    case QChar::Script_Han:
    case QChar::Script_Hiragana:
    case QChar::Script_Katakana:
    case QChar::Script_Thai:
    case QChar::Script_Lao:
    case QChar::Script_Khmer:
    case QChar::Script_Myanmar:
        return true;
    default:
        return false;
    }
}

QStringList partsOf(const QString &text)
{
    static const QRegularExpression space(u"\\s+"_s, QRegularExpression::UseUnicodePropertiesOption);
    return QString(text).replace(QChar(0), u' ').split(space, Qt::SkipEmptyParts);
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

/** The end of the piece of text that begins at `from`: before a character that cannot combine with those before it. */
qsizetype endOfPiece(const QString &text, qsizetype from)
{
    constexpr qsizetype usualSize = 1000;
    constexpr char16_t firstPartOfSyllable = 0x1160; // of Korean ones, except those that begin a syllable
    constexpr char16_t lastPartOfSyllable = 0x11ff;
    qsizetype end = std::min(from + usualSize, text.size());
    const auto belongsToWhatIsBefore = [](QChar each) {
        return each.isMark() || each.isLowSurrogate() || (each >= firstPartOfSyllable && each <= lastPartOfSyllable);
    };
    while (end < text.size() && belongsToWhatIsBefore(text[end]))
        ++end;
    return end;
}

QString foldedPiece(const QString &text)
{
    QString letters;
    for (const QChar each : text.normalized(QString::NormalizationForm_KD)) {
        if (const std::optional<QStringView> spelled = spelling(each))
            letters += *spelled;
        else if (each.unicode() >= 0x80 && each.isDigit() && !each.isSurrogate())
            letters += QChar(u'0' + each.digitValue());
        else
            letters += each;
    }
    letters = VXFoldedText(letters, VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
    QString result;
    result.reserve(letters.size());
    for (const char32_t letter : letters.toUcs4()) {
        const bool isWord = isUnspaced(letter);
        if (isWord)
            result += u' ';
        result += QChar::fromUcs4(letter);
        if (isWord)
            result += u' ';
    }
    return result;
}

// Also with the kinds of blanks and hyphens that web pages use.
bool isOfNumber(const QString &text)
{
    static const QRegularExpression number(u"^[-+0-9\\s\\p{Pd}()/.*#]+$"_s,
                                           QRegularExpression::UseUnicodePropertiesOption);
    return number.match(text).hasMatch();
}

QString digitsOf(const QString &text)
{
    const QString digits = isOfNumber(text) ? VXPhoneNumberSearchString(text) : QString();
    return digits.size() >= fewestDigits ? digits : QString();
}

// The number without what links, lists and this program write around it: "tel:+34600", "<+34600>,", "600/m". Otherwise
// the part itself.
QString bareNumber(const QString &part)
{
    static const QRegularExpression around(u"^[<\",;]*(?:(?:tel|sms|smsto|callto):)?|(?<=[0-9])(?:/[a-z]+)?[>\",;]*$"_s,
                                           QRegularExpression::CaseInsensitiveOption);
    const QString bare = QString(part).remove(around);
    return isOfNumber(bare) ? bare : part;
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
    const QString ofOneWidth = withPlainDigits(trimmed.normalized(QString::NormalizationForm_KC));
    _words = wordsOf(partsOf(trimmed));
    QStringList parts = partsOf(ofOneWidth);
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

// In pieces, because the time that Qt takes to normalize a text grows with the square of its length.
QString VXSearchTerms::folded(const QString &text)
{
    if (isASCII(text)) // the index ignores case
        return text;
    QString result;
    result.reserve(text.size());
    for (qsizetype from = 0, end = 0; from < text.size(); from = end) {
        end = endOfPiece(text, from);
        result += foldedPiece(text.sliced(from, end - from));
    }
    return result;
}

QString VXSearchTerms::indexed(const QString &text)
{
    const QString all = folded(text);
    const QStringList more = jointlessWords(all);
    return more.isEmpty() ? all : all + u'\n' + more.join(u' ');
}

QString VXSearchTerms::withPlainDigits(const QString &text)
{
    if (isASCII(text))
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
QString VXSearchTerms::expression(const QStringList &words, Match match, const QString &kind)
{
    const auto quoted = [match](QString word) {
        return u'"' + word.replace(u'"', u' ') + (match == Match::Prefix ? "\" *"_L1 : "\""_L1);
    };
    QStringList terms;
    for (const QString &word : words) {
        const QString joined = withoutJoints(word);
        terms.append(joined.isNull() ? "text : "_L1 + quoted(word)
                                     : "text : ("_L1 + quoted(word) + " OR "_L1 + quoted(joined) + u')');
    }
    if (!kind.isNull())
        terms.append("kind : \""_L1 + QString(kind).replace(u'"', u' ') + u'"');
    return terms.join(" AND "_L1);
}
