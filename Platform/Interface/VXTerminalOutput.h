#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

// Shared by the classes that draw on a terminal. Private to the platform layer.

/** Writes all bytes, even if the kernel accepts only some at a time; gives up after a failure. */
void VXWriteFully(int descriptor, const QByteArray &bytes);

/** The text without control characters other than line feed and tab, since these could control the terminal. */
QString VXPrintableText(const QString &text);
