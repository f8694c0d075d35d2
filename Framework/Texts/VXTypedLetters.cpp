#include "VXTypedLetters.h"

#include "VXTextComparison.h"

#include <algorithm>
#include <iterator>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

// As people type what Unicode does not take apart; empty for what is no letter, but stands within words.
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
    case 0x02bc: // apostrophes, of which the first is a letter to Unicode
    case 0x2018:
    case 0x2019:
    case 0x00b4:
    case 0x0060:
        return u"'";
    case 0x2010: // hyphens
    case 0x2011:
        return u"-";
    case 0x0649: // alef maksura, which is yeh without its dots
    case 0x06cc: // yeh of Persian and Urdu
        return u"\u064a";
    case 0x06a9: // keheh
        return u"\u0643";
    case 0x0629: // teh marbuta, which is heh with dots
    case 0x06c1: // heh of Urdu
        return u"\u0647";
    case 0x00ad: // soft hyphen
    case 0x0640: // lengthens Arabic words
        return u"";
    default:
        return std::nullopt;
    }
}

bool isJoint(QChar each)
{
    return each == u'\'' || each == u'-';
}

/** Where a piece of a text ends that begins at `from`: before a letter that nothing before it can be one with. */
qsizetype endOfPiece(const QString &text, qsizetype from)
{
    constexpr qsizetype usualSize = 1000;
    constexpr char16_t firstPartOfSyllable = 0x1160; // of Korean ones, but those they begin with
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
    return VXFoldedText(letters, VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
}

} // namespace

bool VXTypedLetters::isASCII(const QString &text)
{
    return std::ranges::all_of(text, [](QChar each) { return each.unicode() < 0x80; });
}

// Qt normalizes a text in time that grows with the square of its length.
QString VXTypedLetters::folded(const QString &text)
{
    if (isASCII(text))
        return text;
    QString result;
    result.reserve(text.size());
    for (qsizetype from = 0, end = 0; from < text.size(); from = end) {
        end = endOfPiece(text, from);
        result += foldedPiece(text.sliced(from, end - from));
    }
    return result;
}

QString VXTypedLetters::withoutJoints(const QString &word)
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

// Behind some letters "ue" is no umlaut: "neue", "Bauer", "Quelle".
QString VXTypedLetters::withoutDigraphs(const QString &word)
{
    const auto isOneOf = [](QChar letter, QStringView letters) { return letters.contains(letter.toLower()); };
    constexpr qsizetype shortest = 3;
    QString folded;
    for (qsizetype at = 0; at < word.size(); ++at) {
        const bool isBehindVowel = at > 0 && isOneOf(word[at], u"e") && isOneOf(word[at - 1], u"aou");
        const bool isOfAnother = at > 1 && isOneOf(word[at - 1], u"u") && isOneOf(word[at - 2], u"aeq");
        if (!isBehindVowel || isOfAnother || at + 1 == word.size() || !word[at + 1].isLetter())
            folded += word[at];
    }
    return folded.size() == word.size() || folded.size() < shortest ? QString() : folded;
}

QStringList VXTypedLetters::wordsWithoutJoints(const QString &text)
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

bool VXTypedLetters::isUnspaced(char32_t letter)
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
