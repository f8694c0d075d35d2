#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * The text with everything that could control a terminal made visible: control characters as "^[" (escape) and
 * "<U+009B>", characters that change the writing direction as "<U+202E>". Line feeds and tabs are kept; a carriage
 * return before a line feed is dropped.
 */
VX_EXPORT QString VXVisibleText(const QString &text);
