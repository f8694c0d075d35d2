#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** The text without the passwords of URLs in it; to be used for everything that is shown or logged. */
[[nodiscard]] VX_EXPORT QString VXTextWithoutPasswords(const QString &text);
/** A property list with all its texts treated like that. */
[[nodiscard]] VX_EXPORT QVariant VXValueWithoutPasswords(const QVariant &value);
