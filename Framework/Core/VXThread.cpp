#include "VXThread.h"

#include "VXMainThread.h"

#include <atomic>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

bool VXThread::vx_isMainThread()
{
    return VXMainThread::isCurrent();
}

quint32 VXThread::vx_uniqueThreadID()
{
    static std::atomic<quint32> counter{0};
    thread_local const quint32 number =
        VXMainThread::isCurrent() ? 0 : counter.fetch_add(1, std::memory_order_relaxed) + 1;
    return number;
}

int VXThread::vx_threadIndex()
{
    const std::unique_ptr<DIR, int (*)(DIR *)> tasks(::opendir("/proc/self/task"), ::closedir);
    if (!tasks)
        return -1;
    const pid_t self = ::gettid();
    int index = 0;
    while (const dirent *entry = ::readdir(tasks.get())) {
        pid_t task = 0;
        const char *const end = entry->d_name + std::strlen(entry->d_name);
        if (std::from_chars(entry->d_name, end, task).ptr != end)
            continue; // "." and ".."
        if (task == self)
            return index;
        ++index;
    }
    return -1;
}

// Not idle priority: an idle thread that holds a lock could block a thread of normal priority for as long as others use
// the processors.
void VXThread::vx_lowerPriority(int priority)
{
    // From linux/ioprio.h, which glibc does not expose.
    constexpr int thisThread = 1; // IOPRIO_WHO_PROCESS; 0 means the calling thread
    constexpr int lastOfUsualClass = (2 << 13) | 7;
    const sched_param parameter = {};
    ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &parameter);
    ::setpriority(PRIO_PROCESS, id_t(::gettid()), priority); // affects this thread only
    ::syscall(SYS_ioprio_set, thisThread, 0, lastOfUsualClass);
}

bool VXThread::vx_isPriorityLow()
{
    return ::getpriority(PRIO_PROCESS, id_t(::gettid())) > 0;
}
