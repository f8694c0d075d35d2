#pragma once

#include <QtCore/QString>

/** The window's text for an English one, in the user's language: the table "Desktop" of the application's bundle. Any thread. */
[[nodiscard]] QString VXText(const char *english);
/** The same of one that counts: "%1 message" for one, else "%1 messages", the number filled in as the user writes numbers. */
[[nodiscard]] QString VXText(const char *one, const char *many, qsizetype count);
