#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

// What stands in the values of vCards. Any thread.

/** The octets in a character set by its name; null when that is not known, or the octets are not of it. */
QString VXDecodedText(const QByteArray &octets, const QByteArray &charset);

/** Quoted-printable, its soft line ends gone before. What is no escape stands for itself. */
QByteArray VXDecodedQuotedPrintable(const QByteArray &octets);

/** Without escapes: "\n" is a line end, a backslash before anything else nothing. */
QString VXUnescapedCardText(QStringView value);
/** The parts between unescaped separators, without escapes and blanks around them. */
QStringList VXCardValueParts(QStringView value, QChar separator);
