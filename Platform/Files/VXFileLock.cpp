#include "VXFileLock.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

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

bool isPlainFile(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

} // namespace

VXFileLock::VXFileLock(const QString &path, std::chrono::milliseconds timeout)
    : _descriptor(
          ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600))
{
    const bool isPlain = _descriptor >= 0 ? isPlainFile(_descriptor) : errno != ELOOP;
    if (isPlain) {
        wait(timeout);
        return;
    }
    _reason = QStringLiteral("The lock file \"%1\" is a link, or no plain file.").arg(path);
    if (_descriptor >= 0)
        ::close(_descriptor);
    _descriptor = -1;
}

// Opened once more: locks belong to what was opened, and so others of this process would share it.
VXFileLock::VXFileLock(int descriptor, std::chrono::milliseconds timeout)
    : _descriptor(::open(qPrintable(QStringLiteral("/proc/self/fd/%1").arg(descriptor)), O_RDWR | O_CLOEXEC))
{
    wait(timeout);
}

void VXFileLock::wait(std::chrono::milliseconds timeout)
{
    const int problem = _descriptor < 0 ? errno : lock(_descriptor, timeout);
    if (problem == 0)
        return;
    _isTimedOut = problem == EWOULDBLOCK;
    _reason = qt_error_string(problem);
    if (_descriptor >= 0)
        ::close(_descriptor);
    _descriptor = -1;
}

VXFileLock::~VXFileLock()
{
    if (_descriptor >= 0)
        ::close(_descriptor); // ends the lock
}
