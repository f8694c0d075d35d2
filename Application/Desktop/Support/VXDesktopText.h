#pragma once

#include <QtCore/QString>

/**
 * The window's text in the user's language for an English one, from the table "Desktop" of the application's bundle.
 * Any thread.
 */
[[nodiscard]] QString VXText(const char *english);
/**
 * The same for a text with a count: "%1 message" for one, otherwise "%1 messages", with the number in the user's
 * format.
 */
[[nodiscard]] QString VXText(const char *one, const char *many, qsizetype count);
