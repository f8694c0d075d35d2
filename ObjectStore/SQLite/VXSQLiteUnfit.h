#pragma once

#include "VXAttributeType.h"

#include <QtCore/QString>

/** The SQL condition for values that no object could have stored in a column of that type; NULL for NULL. */
[[nodiscard]] QString VXSQLiteUnfit(VXAttributeType type, const QString &column);
