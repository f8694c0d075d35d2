#pragma once

#include "VXError.h"

/**
 * An error on one line, as the program reports it: the file, what happened to it, why, and what can be done about it.
 * `path` is the file if the error names none.
 */
[[nodiscard]] QString VXErrorText(const VXError &error, const QString &path = {});
