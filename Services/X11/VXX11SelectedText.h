#pragma once

#include <QtCore/QString>

/**
 * The X server's PRIMARY selection as text (ICCCM): what the user marked last, in whatever program. Waits for that program, one
 * second at most. Null, with the reason for people, when there is none, it holds no text, or more than 64 kB. Any thread.
 */
[[nodiscard]] QString VXX11SelectedText(QString *reason);
