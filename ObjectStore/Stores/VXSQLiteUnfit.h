#pragma once

#include "VXAttributeType.h"

#include <QtCore/QString>

/** The SQL condition that holds for a value that no object could have given a column of that type; for NULL it is NULL. */
[[nodiscard]] QString VXSQLiteUnfit(VXAttributeType type, const QString &column);
