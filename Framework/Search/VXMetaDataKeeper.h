#pragma once

#include "VXFrameworkExport.h"

/** Who keeps the mirror in step: processes that stay, and make passes when something was saved anywhere. Any thread. */
class VX_EXPORT VXMetaDataKeeper
{
public:
    /** Until the end of this process it is one. */
    static void begin();
    /** Whether another process is one. Not for one that is one itself. */
    static bool isElsewhere();

    VXMetaDataKeeper() = delete;
};
