#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * Backslash escapes for the characters of a set. The backslash itself is only escaped when the set has it, so
 * a text with a backslash before a character of the set, or at its end, does not come back whole. Any thread.
 */
class VX_EXPORT VXTextEscaping
{
public:
    /** Puts a backslash before each character of the set. A text without one comes back as it is, null as null. */
    static QString stringByEscapingCharactersInString(const QString &text, QStringView set);

    /**
     * Takes the backslash from before each character of the set. Before another character it stays; at the
     * end of the text it falls away.
     */
    static QString stringByUnescapingCharactersInString(const QString &text, QStringView set);
};
