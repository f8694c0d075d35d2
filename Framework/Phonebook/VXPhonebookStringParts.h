#pragma once

#include <QtCore/QLatin1StringView>
#include <QtCore/QStringView>

/** A phonebook string taken apart without copying: the views are parts of the text, still escaped. */
struct VXPhonebookStringParts
{
    QStringView name = {};    // null when there is none
    QStringView value = {};   // null when there is none
    QStringView letters = {}; // of the type mask
    bool isAddress = false;   // the value is a valid phone number or e-mail address

    /** What is wrong with the text; null when it is well-formed. The parts are then empty. */
    QLatin1StringView problem = {};

    /** The whole text is the value, which then has no escapes. */
    bool isBareAddress(QStringView text) const { return isAddress && value.size() == text.size(); }

    /** Takes the text apart in one pass over it. Logs the problem, if there is one. */
    static VXPhonebookStringParts split(QStringView text);
};
