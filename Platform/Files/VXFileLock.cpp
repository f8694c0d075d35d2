#include "VXFileLock.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

// 0, or the error's number. The kernel has no wait of limited time for these locks: with a limit it is asked again.
int lock(int descriptor, std::chrono::milliseconds timeout)
{
    const bool isLimited = timeout != std::chrono::milliseconds::max();
    const QDeadlineTimer deadline = isLimited ? QDeadlineTimer(timeout) : QDeadlineTimer(QDeadlineTimer::Forever);
    std::chrono::milliseconds pause = 1ms;
    while (::flock(descriptor, isLimited ? LOCK_EX | LOCK_NB : LOCK_EX) != 0) {
        if (errno == EINTR)
            continue;
        if (errno != EWOULDBLOCK || deadline.hasExpired())
            return errno;
        std::this_thread::sleep_for(std::min(pause, std::chrono::milliseconds(deadline.remainingTime())));
        pause = std::min(2 * pause, std::chrono::milliseconds(20ms));
    }
    return 0;
}

} // namespace

VXFileLock::VXFileLock(const QString &path, std::chrono::milliseconds timeout)
{
    const int links = path.startsWith("/proc/self/fd/"_L1) ? 0 : O_NOFOLLOW;
    VXFileDescriptor file(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | links, 0600));
    const int problem = file.isOpen() ? lock(file.number(), timeout) : errno;
    if (problem == 0) {
        _file = std::move(file); // closing it ends the lock
        return;
    }
    _isTimedOut = problem == EWOULDBLOCK;
    _reason = problem == ELOOP && links != 0 ? u"Its lock file is a symbolic link."_s : qt_error_string(problem);
}
