#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * The text with everything that could steer a terminal shown instead: control characters as "^[" (escape) and "<U+009B>",
 * marks that turn the direction of writing as "<U+202E>". Line feeds and tabs stay, of a
 * carriage return before a line feed nothing is shown.
 */
VX_EXPORT QString VXVisibleText(const QString &text);
