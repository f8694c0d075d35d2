#pragma once

#include <QtCore/QString>

/**
 * The words on lines of at most that width, all but the first line indented; `used` columns of the first are already
 * taken. Choices ("a|b|c") that do not fit on one line continue on the next.
 */
[[nodiscard]] QString VXWrappedText(const QString &text, qsizetype width, qsizetype indent, qsizetype used);
