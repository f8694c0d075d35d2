#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QtGlobal>

/** Identifies the calling thread. Any thread. */
class VX_EXPORT VXThread
{
public:
    /** True on the process's main thread. */
    static bool vx_isMainThread();

    /** A small number unique to the thread, for log lines: 0 on the main thread, otherwise 1, 2, 3, ... in the order of
     *  first calls. Never reused. */
    static quint32 vx_uniqueThreadID();

    /** The thread's position, from 0, in the kernel's list of the process's threads; -1 when that cannot be read. */
    static int vx_threadIndex();

    static constexpr int vx_lowestPriority = 19;

    /** Lowers the calling thread's priority for processor and files for good. It still makes progress, so that nobody
     *  waits long for a lock that it holds. `priority`: as of nice(1). On a busy processor the lowest gets some 1.5 % of what a usual
     *  thread gets, 5 a third. */
    static void vx_lowerPriority(int priority = vx_lowestPriority);
    /** Whether the calling thread has a lower priority than usual, as after vx_lowerPriority(). */
    static bool vx_isPriorityLow();

    VXThread() = delete;
};
