#pragma once

#include <QtCore/QLatin1StringView>
#include <QtCore/QStringView>

/** A phonebook string parsed without copying: the views refer to the text, and are still escaped. */
struct VXPhonebookStringParts
{
    QStringView name = {};    // null when there is none
    QStringView value = {};   // null when there is none
    QStringView letters = {}; // of the type mask
    bool isAddress = false;   // the value is a valid phone number or e-mail address

    /** What is wrong with the text; null when it is well-formed. If it is not, the parts are empty. */
    QLatin1StringView problem = {};

    /** Whether the whole text is the value, which then contains no escapes. */
    bool isBareAddress(QStringView text) const { return isAddress && value.size() == text.size(); }

    /** Parses the text in one pass. */
    static VXPhonebookStringParts parse(QStringView text);
    /** The same; logs the problem, if there is one. */
    static VXPhonebookStringParts split(QStringView text);
};
