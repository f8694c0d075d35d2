#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QChar>
#include <QtCore/QString>

#include <array>
#include <string_view>
#include <vector>

/**
 * A set of Unicode characters: single ones and whole general categories. Texts are read character by character; a
 * surrogate pair is one character, and a lone surrogate belongs to no named set. Immutable: any thread may use it.
 */
class VX_EXPORT VXCharacterSet
{
public:
    /** General categories, to be combined with |. Title-case letters are neither upper nor lower case. */
    enum Category : unsigned {
        NoCategory = 0,
        DecimalDigits = 1U << QChar::Number_DecimalDigit,
        UppercaseLetters = 1U << QChar::Letter_Uppercase,
        LowercaseLetters = 1U << QChar::Letter_Lowercase,
    };

    static const VXCharacterSet &decimalDigitCharacterSet();

    /** What can be dialled: decimal digits, "*#+,!@" and the letters A to D, P, T and W in both cases. */
    static const VXCharacterSet &phoneNumberDialingCharacterSet();
    /** The dialling set and what is written between the digits: " ()-/." */
    static const VXCharacterSet &phoneNumberFormattingCharacterSet();
    /** The letters of a type mask: "HW!mfp" */
    static const VXCharacterSet &phonebookTypeMaskCharacterSet();
    /** What separates the members of a group: ",;" */
    static const VXCharacterSet &groupDelimiterCharacterSet();

    static const VXCharacterSet &emailLocalPartCharacterSet();
    /** The characters of a domain's labels and the "." between them. */
    static const VXCharacterSet &emailDomainCharacterSet();

    /** The characters of a text, lone surrogates included. */
    static VXCharacterSet characterSetWithCharactersInString(QStringView characters);

    /** ASCII characters and categories. */
    constexpr VXCharacterSet(std::string_view characters, unsigned categories) : _categories(categories)
    {
        for (const char character : characters)
            insertAscii(static_cast<unsigned char>(character));
        insertAsciiRange((categories & DecimalDigits) != 0, '0', '9');
        insertAsciiRange((categories & UppercaseLetters) != 0, 'A', 'Z');
        insertAsciiRange((categories & LowercaseLetters) != 0, 'a', 'z');
    }

    bool characterIsMember(char32_t character) const
    {
        return character < 128 ? _ascii[character] : otherCharacterIsMember(character);
    }

    /** The number of UTF-16 units at the start of the text that are characters of the set. */
    qsizetype leadingMembers(QStringView text) const
    {
        qsizetype index = 0;
        while (index < text.size() && text[index].unicode() < 128 && _ascii[text[index].unicode()])
            ++index;
        return index == text.size() || text[index].unicode() < 128 ? index : leadingMembers(text, index);
    }
    /** Whether the text has no character outside the set; true for an empty or null text. */
    bool containsOnlyMembers(QStringView text) const { return leadingMembers(text) == text.size(); }
    /** Whether the text has a character of the set. */
    bool containsAnyMember(QStringView text) const;
    /** The text without the characters outside the set, made with a single allocation; null for null. */
    QString membersOf(QStringView text) const;

private:
    constexpr void insertAscii(unsigned character) { _ascii[character] = true; }
    constexpr void insertAsciiRange(bool wanted, unsigned first, unsigned last)
    {
        for (unsigned character = first; wanted && character <= last; ++character)
            insertAscii(character);
    }
    bool otherCharacterIsMember(char32_t character) const;
    qsizetype leadingMembers(QStringView text, qsizetype from) const;

    std::array<bool, 128> _ascii{};
    unsigned _categories;
    std::vector<char32_t> _others; // non-ASCII members, in ascending order
};
