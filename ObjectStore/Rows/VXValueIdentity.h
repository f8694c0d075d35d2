#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QVariant>

/**
 * Whether two values are identical, including their type, also within lists and dictionaries: 1, 1.0 and true differ.
 */
VX_STORE_EXPORT bool VXIsSameValue(const QVariant &a, const QVariant &b);
