#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

/**
 * Writes lines "NAME;PARAMETER=VALUE:VALUE" as in vCards (RFC 6350) and calendars (RFC 5545): UTF-8, CRLF, folded to at
 * most 75 octets, never within a character. Used on one thread.
 */
class VX_EXPORT VXContentLines
{
public:
    /** Adds the value unchanged, except that control characters are left out. */
    void add(const QString &nameAndParameters, const QString &value);
    /** Adds the value as text: with backslashes, commas, semicolons and line ends escaped. */
    void addText(const QString &nameAndParameters, const QString &text);
    /** Adds nothing for an empty text. */
    void addTextIfAny(const QString &nameAndParameters, const QString &text);

    static QString escapedText(const QString &text);

    const QByteArray &bytes() const { return _bytes; }

private:
    QByteArray _bytes;
};
