#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

/**
 * Lines "NAME;PARAMETER=VALUE:VALUE" as vCards (RFC 6350) and calendars (RFC 5545) have them: UTF-8, CRLF, folded so that
 * none is longer than 75 octets, never within a character. Used on one thread.
 */
class VX_EXPORT VXContentLines
{
public:
    /** The value stands as it is; control characters are left out. */
    void add(const QString &nameAndParameters, const QString &value);
    /** The value as text: backslashes, commas, semicolons and line ends escaped. */
    void addText(const QString &nameAndParameters, const QString &text);
    /** Nothing for an empty text. */
    void addTextIfAny(const QString &nameAndParameters, const QString &text);

    static QString escapedText(const QString &text);

    const QByteArray &bytes() const { return _bytes; }

private:
    QByteArray _bytes;
};
