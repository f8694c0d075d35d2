#pragma once

#include "VXCharacterSet.h"

#include <utility>

/** A text's own view of the phonebook tests. Holds the text; null fails every test. Any thread. */
class VX_EXPORT VXPhonebookText
{
public:
    explicit VXPhonebookText(QString text) : _text(std::move(text)) {}

    [[nodiscard]] bool isValidEmailAddress() const;
    [[nodiscard]] bool isValidPhoneNumber() const;
    [[nodiscard]] bool isValidPhonebookType() const;

    /** True when no character lies outside the set, so for the empty text. */
    [[nodiscard]] bool containsOnlyCharactersFromSet(const VXCharacterSet &set) const;
    /** The text without the characters outside the set; an empty text is returned as it is. */
    [[nodiscard]] QString stringWithCharactersFromSet(const VXCharacterSet &set) const;

private:
    QString _text;
};
