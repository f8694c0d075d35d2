#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QLocale>

/** How the user writes dates and numbers: by the locale of the environment, or, when that is of another language than the
 *  program's texts, by the standard of their language, so that a text is in one language. Any thread. */
[[nodiscard]] VX_EXPORT QLocale VXTextLocale();
