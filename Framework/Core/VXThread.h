#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QtGlobal>

/** Who the calling thread is. Any thread. */
class VX_EXPORT VXThread
{
public:
    /** True on the process's main thread. */
    static bool vx_isMainThread();

    /** A small number of the thread's own, for log lines: 0 on the main thread, elsewhere 1, 2, 3, ... in the order
     *  of first asking. Never used twice. */
    static quint32 vx_uniqueThreadID();

    /** The position, from 0, in the kernel's list of the process's threads; -1 when that cannot be read. */
    static int vx_threadIndex();

    /** From now on the calling thread gives way to the others of the system, with the processor and with files; but it goes on
     * all the same, so that nobody waits long for a lock that it holds. */
    static void vx_lowerPriority();

    VXThread() = delete;
};
