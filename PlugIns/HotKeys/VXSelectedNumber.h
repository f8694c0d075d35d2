#pragma once

#include <QtCore/QString>

/**
 * The phone number in selected text: the text itself, that of a phonebook string ("Jane <555-0100>"), or the first run
 * of characters that is a number with at least three digits. Null if there is none. Any thread.
 */
[[nodiscard]] QString VXNumberInText(const QString &text);
