#pragma once

#include "VXCharacterSet.h"

#include <utility>

/** Offers the phonebook tests for a text, of which it keeps a copy; a null text fails every test. Any thread. */
class VX_EXPORT VXPhonebookText
{
public:
    explicit VXPhonebookText(QString text) : _text(std::move(text)) {}

    [[nodiscard]] bool isValidEmailAddress() const;
    [[nodiscard]] bool isValidPhoneNumber() const;
    [[nodiscard]] bool isValidPhonebookType() const;

    /** Whether no character is outside the set; true for the empty text. */
    [[nodiscard]] bool containsOnlyCharactersFromSet(const VXCharacterSet &set) const;
    /** The text without the characters outside the set; an empty text is returned as it is. */
    [[nodiscard]] QString stringWithCharactersFromSet(const VXCharacterSet &set) const;

private:
    QString _text;
};
