#include "VXThread.h"

#include "VXMainThread.h"

#include <atomic>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <memory>
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
