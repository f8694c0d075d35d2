#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

// The encodings of vCard values. Any thread.

/** Decodes octets in the character set of that name; null when it is unknown, or the octets are not valid in it. */
QString VXDecodedText(const QByteArray &octets, const QByteArray &charset);

/** Decodes quoted-printable without soft line ends. Invalid escapes are kept. */
QByteArray VXDecodedQuotedPrintable(const QByteArray &octets);

/**
 * Removes escapes: "
 * " becomes a line end, any other backslash is dropped.
 */
QString VXUnescapedCardText(QStringView value);
/** The parts between unescaped separators, unescaped and without surrounding blanks. */
QStringList VXCardValueParts(QStringView value, QChar separator);
