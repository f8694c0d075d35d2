#pragma once

#include "VXFrameworkExport.h"

/**
 * Processes that keep the mirror in step ("keepers"): they stay, and make passes when something was saved by any
 * process. Any thread.
 */
class VX_EXPORT VXMetaDataKeeper
{
public:
    /** Makes this process a keeper until it ends. */
    static void begin();
    /** Whether another process is a keeper. Not to be called by a keeper. */
    static bool isElsewhere();

    VXMetaDataKeeper() = delete;
};
