#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * Backslash escapes for the characters of a set. The backslash itself is only escaped if it is in the set; so a text
 * with a backslash before a character of the set, or at its end, is not restored by unescaping. Any thread.
 */
class VX_EXPORT VXTextEscaping
{
public:
    /** Inserts a backslash before each character of the set. A text without such characters is returned as it is, null
     *  as null. */
    static QString stringByEscapingCharactersInString(const QString &text, QStringView set);

    /**
     * Removes the backslash before each character of the set. A backslash before another character is kept; one at the
     * end of the text is removed.
     */
    static QString stringByUnescapingCharactersInString(const QString &text, QStringView set);
};
