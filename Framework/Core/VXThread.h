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

    /** Lowers the calling thread's priority for processor and files for good. It still makes progress, so that nobody
     *  waits long for a lock that it holds. */
    static void vx_lowerPriority();

    VXThread() = delete;
};
