#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QVariant>

/** True for one and the same value: of the same type, also inside lists and dictionaries, where 1, 1.0 and true differ. */
VX_STORE_EXPORT bool VXIsSameValue(const QVariant &a, const QVariant &b);
