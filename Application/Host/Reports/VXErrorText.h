#pragma once

#include "VXError.h"

/** An error as the program tells it, in one line: to which file what happened, why, and what might be done about it. `path` is
 *  the file when the error names none. */
[[nodiscard]] QString VXErrorText(const VXError &error, const QString &path = {});
