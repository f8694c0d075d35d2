#pragma once

#include <QtCore/QString>

/** The words on lines of at most that width, all but the first line indented; of the first so much is used already. Choices
 *  ("a|b|c") that no line has room for go on in the next. */
[[nodiscard]] QString VXWrappedText(const QString &text, qsizetype width, qsizetype indent, qsizetype used);
