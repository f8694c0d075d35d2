#pragma once

#include <QtCore/QString>

/**
 * The phone number in a text that somebody marked: the text itself, that of a phonebook string ("Jane <555-0100>"), or the
 * first run of characters in it that is a number with at least three digits. Null when there is none. Any thread.
 */
[[nodiscard]] QString VXNumberInText(const QString &text);
