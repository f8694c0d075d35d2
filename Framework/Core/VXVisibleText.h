#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * The text with everything that could steer a terminal shown instead: control characters as "^[" (escape) and "<U+009B>",
 * marks that turn the direction of writing as "<U+202E>". Line feeds and tabs stay.
 */
VX_EXPORT QString VXVisibleText(const QString &text);
