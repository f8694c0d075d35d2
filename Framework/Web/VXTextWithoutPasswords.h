#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** The text without the passwords of the URLs in it, which are nobody's business: for all that is shown and logged. */
[[nodiscard]] VX_EXPORT QString VXTextWithoutPasswords(const QString &text);
/** A property list with its texts so. */
[[nodiscard]] VX_EXPORT QVariant VXValueWithoutPasswords(const QVariant &value);
