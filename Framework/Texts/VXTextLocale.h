#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QLocale>

/**
 * The locale for dates and numbers: that of the environment; or, if that has another language than the program's texts,
 * the default one of their language, so that a text is in one language. Any thread.
 */
[[nodiscard]] VX_EXPORT QLocale VXTextLocale();
