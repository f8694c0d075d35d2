#pragma once

#include <QtCore/QRegularExpression>
#include <QtCore/QString>

#include <algorithm>

/** A phone number as people write it, with what else they write beside it. Any thread; needs nothing but Qt. */
struct VXWrittenNumber
{
    QString number;    // to be dialled; the whole text if there is nothing else in it
    QString extension; // to be dialled once somebody has answered; empty for none

    /** Of a text of at most 100 characters takes off an extension ("ext. 77", "x77", ";ext=77", "Durchwahl 77", "p77" with pauses), a remark in brackets
     *  ("(Zentrale)") and a second number ("030 1112222 / 030 1113333"). */
    static VXWrittenNumber in(const QString &text);

private:
    static qsizetype countDigits(QStringView text)
    {
        return std::ranges::count_if(text, [](QChar each) { return each.isDigit(); });
    }
};

inline VXWrittenNumber VXWrittenNumber::in(const QString &text)
{
    constexpr qsizetype mostCharacters = 100; // more is no number, and would take long
    constexpr qsizetype fewestDigits = 5;     // before an extension
    constexpr qsizetype ofWholeNumber = 7;    // fewer may be an area code: "0171 / 5550101"
    const bool hasMore = text.contains(QLatin1String(" /")) || std::ranges::any_of(text, [](QChar each) {
                             return each.isLetter() || each == u',' || each == u';';
                         });
    if (!hasMore || text.size() > mostCharacters || countDigits(text) < fewestDigits) // as most numbers, and all names
        return {text, {}};
    static const QRegularExpression remark(QStringLiteral(R"(\s*\([^()]*\p{L}[^()]*\)\s*$)"));
    static const QRegularExpression another(QStringLiteral(R"(\s+/\s+|\s*;\s*(?=[+\d]))"));
    static const QRegularExpression later(
        QStringLiteral(R"([\s,;]*(?:ext(?:n|ension)?|durchwahl|x)[\s.:=]*(\d{1,9})\s*$|\s*[,pw]+\s*(\d[\d*#,pw]*)$)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    VXWrittenNumber written{QString(text).remove(remark), {}};
    if (const QRegularExpressionMatch match = another.match(written.number); match.hasMatch()) {
        const QStringView whole(written.number);
        if (countDigits(whole.first(match.capturedStart())) >= ofWholeNumber &&
            countDigits(whole.sliced(match.capturedEnd())) >= ofWholeNumber)
            written.number.truncate(match.capturedStart());
    }
    if (const QRegularExpressionMatch match = later.match(written.number);
        match.hasMatch() && countDigits(QStringView(written.number).first(match.capturedStart())) >= fewestDigits) {
        written.extension = match.captured(1) + match.captured(2);
        written.number.truncate(match.capturedStart());
    }
    return written;
}
