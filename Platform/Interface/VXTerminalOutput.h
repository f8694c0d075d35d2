#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

// What the classes that draw on a terminal share. Private to the platform layer.

/** Writes all bytes, however often the kernel takes only some; a failed write is given up. */
void VXWriteFully(int descriptor, const QByteArray &bytes);

/** The text without control characters other than line feed and tab, which could steer the terminal. */
QString VXPrintableText(const QString &text);
