#pragma once

#include <QtCore/QRegularExpression>
#include <QtCore/QString>

#include <algorithm>

/** A phone number as people write it, with what else they write beside it. Any thread; needs nothing but Qt. */
struct VXWrittenNumber
{
    QString number;    // to be dialled; the whole text if there is nothing else in it
    QString extension; // to be dialled once somebody has answered; empty for none

    /**
     * Of a text of at most 100 characters takes off an extension ("ext. 77", "(x77)", ";ext=77", "Durchwahl 77", "App. 77",
     * "Nst. 77", "#77", "доб. 77", "p77" with pauses), a remark in brackets ("(Zentrale)"), a second number
     * ("030 1112222 / 030 1113333", "030 1112222/030 1113333", but not "030/1112222") and other parameters of links
     * (";phone-context=..."). The letters of a number that costs nothing or much are dialled as the keys of a phone have them
     * (ITU E.161): "1-800-FLOWERS" is 1-800-3569377.
     */
    static VXWrittenNumber in(const QString &text);

private:
    static constexpr qsizetype mostCharacters = 100; // more is no number, and would take long
    static constexpr qsizetype fewestDigits = 5;     // before an extension
    static constexpr qsizetype ofWholeNumber = 7;    // fewer may be an area code: "0171 / 5550101"
    static constexpr qsizetype mostDigits = 15;      // of a number (E.164)

    static qsizetype countDigits(QStringView text)
    {
        return std::ranges::count_if(text, [](QChar each) { return each.isDigit(); });
    }
    // False for most numbers, and all names. A slash alone mostly stands behind an area code.
    static bool mayHaveMore(QStringView text)
    {
        const auto isSign = [](QChar each) { return each.isLetter() || QStringView(u",;#").contains(each); };
        if (text.size() > mostCharacters)
            return false;
        if (std::ranges::any_of(text, isSign))
            return countDigits(text) >= fewestDigits;
        return text.contains(u'/') && (countDigits(text) >= 2 * ofWholeNumber || text.contains(QLatin1String("/ -")));
    }
    static QRegularExpression expression(const char *pattern)
    {
        return QRegularExpression(QString::fromUtf8(pattern), QRegularExpression::CaseInsensitiveOption |
                                                                  QRegularExpression::UseUnicodePropertiesOption);
    }

    static QString withoutLetters(const QString &text);
    void dropSecondNumber();
    void takeExtension();
};

// Of two numbers that nothing but a slash separates the second has its own area code, or both are too long for one.
inline void VXWrittenNumber::dropSecondNumber()
{
    static const QRegularExpression between =
        expression(R"(\s+/\s+(?:-\d{1,5}$)?|/|\s*;\s*(?=[+\d])|(?<![,\s])\s*,\s*(?=[+0(]|\d+[-\s./])(?![^*#]*[*#]))");
    const QStringView whole(number);
    for (auto each = between.globalMatch(number); each.hasNext();) {
        const QRegularExpressionMatch match = each.next();
        const QStringView separator = match.capturedView(), rest = whole.sliced(match.capturedEnd());
        const qsizetype before = countDigits(whole.first(match.capturedStart()));
        const qsizetype behind = countDigits(rest);
        const bool isAnother = separator.back().isDigit() || behind >= ofWholeNumber;
        const bool isJoined = separator == u"/" && before + behind <= mostDigits &&
                              !(rest.startsWith(u'+') || rest.startsWith(u'0') || rest.startsWith(u'('));
        if (before >= ofWholeNumber && isAnother && !isJoined)
            return number.truncate(match.capturedStart());
    }
}

inline void VXWrittenNumber::takeExtension()
{
    static const QRegularExpression later = expression(
        R"([-\s,;]*\(?\s*(?:(?<!\p{L})(?:ext(?:n|ension)?|x|durchwahl|dw|app(?:arat)?|nebenstelle|nst|poste|доб(?:авочный)?)|#))"
        R"([-\s.:=]*(\d{1,20})\s*\)?\s*$|\s*[,pw]+\s*(\d[\d*#,pw]*)$)");
    const QRegularExpressionMatch match = later.match(number);
    const bool isCode = match.capturedView().startsWith(u'#') && number.contains(u'*'); // "*21*0301112222#11"
    if (!match.hasMatch() || isCode || countDigits(QStringView(number).first(match.capturedStart())) < fewestDigits)
        return;
    extension = match.captured(1) + match.captured(2);
    number.truncate(match.capturedStart());
}

// Any other text is returned as it is.
inline QString VXWrittenNumber::withoutLetters(const QString &text)
{
    static const QRegularExpression words(QStringLiteral(
        R"(^(?:\+?1[-. ]?|0)?\(?(?:8\d\d|900)\)?(?=(?:[-. ]*[A-Z0-9]){5,9}$)[-. A-Z0-9]*[A-Z]{3}[-. A-Z0-9]*$)"));
    constexpr QStringView keys = u"22233344455566677778889999"; // A to Z
    QString digits = text;
    if (!words.match(text).hasMatch())
        return digits;
    for (QChar &each : digits) {
        if (each.isLetter())
            each = keys[each.unicode() - u'A'];
    }
    return digits;
}

inline VXWrittenNumber VXWrittenNumber::in(const QString &text)
{
    constexpr qsizetype longestWithLetters = 20;
    const bool mayHaveLetters = !text.isEmpty() && text.size() <= longestWithLetters && text.back().isUpper() &&
                                QStringView(u"+(0189").contains(text.front());
    VXWrittenNumber written{mayHaveLetters ? withoutLetters(text) : text, {}};
    if (!mayHaveMore(written.number))
        return written;
    static const QRegularExpression remark = expression(R"(\s*\([^()]*\p{L}[^()]*\)\s*$)");
    static const QRegularExpression parameter = expression(R"(;(?!ext=)[a-z][-a-z0-9]*=[^;]*)");
    written.number.remove(parameter);
    written.dropSecondNumber();
    for (int each = 0; each < 2; ++each) { // the remark before the extension, or behind it
        if (written.extension.isEmpty())
            written.takeExtension();
        written.number.remove(remark);
    }
    return written;
}
