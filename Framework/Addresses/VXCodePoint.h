#pragma once

#include <QtCore/QChar>
#include <QtCore/QStringView>

/** Returns the character at the index and advances the index past it. A lone surrogate is returned as it is. */
inline char32_t VXNextCodePoint(QStringView text, qsizetype &index)
{
    const char16_t unit = text[index++].unicode();
    if (Q_LIKELY(!QChar::isSurrogate(unit)))
        return unit;
    const bool isPair = QChar::isHighSurrogate(unit) && index < text.size() && text[index].isLowSurrogate();
    return isPair ? QChar::surrogateToUcs4(unit, text[index++].unicode()) : unit;
}

/** The value of a decimal digit (category Nd) of any script; -1 for other characters. */
inline int VXDecimalDigitValue(char32_t character)
{
    if (character < 128)
        return character >= U'0' && character <= U'9' ? static_cast<int>(character - U'0') : -1;
    // Superscripts and similar characters have a digit value, too, but are no decimal digits.
    return QChar::category(character) == QChar::Number_DecimalDigit ? QChar::digitValue(character) : -1;
}
