#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QString>

/**
 * Whether a valid regular expression matches the text. Long texts are matched on the heap if the stack of the fast
 * matcher is too small. A pattern that would take too long is given up: false, with a report. Reentrant.
 */
VX_STORE_EXPORT bool VXPatternMatches(const QRegularExpression &pattern, const QString &text);
