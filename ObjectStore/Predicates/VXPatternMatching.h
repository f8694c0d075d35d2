#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QString>

/**
 * Whether a valid regular expression describes the text. Long texts are matched on the heap where the fast matcher's stack
 * does not suffice. A pattern that would try for ever gives up: false, which is reported. Reentrant.
 */
VX_STORE_EXPORT bool VXPatternMatches(const QRegularExpression &pattern, const QString &text);
