#include "VXFileLock.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

// 0, or the error's number. The kernel has no wait of limited time for these locks: with a limit it is asked again.
int lock(int descriptor, int operation, std::chrono::milliseconds timeout)
{
    const bool isLimited = timeout != std::chrono::milliseconds::max();
    const QDeadlineTimer deadline = isLimited ? QDeadlineTimer(timeout) : QDeadlineTimer(QDeadlineTimer::Forever);
    std::chrono::milliseconds pause = 1ms;
    while (::flock(descriptor, isLimited ? operation | LOCK_NB : operation) != 0) {
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

VXFileLock::VXFileLock(const QString &path, std::chrono::milliseconds timeout, Mode mode)
    : _descriptor(::open(QFile::encodeName(path).constData(),
                         (mode == Mode::Shared ? O_RDONLY : O_RDWR) | O_CREAT | O_CLOEXEC, 0600))
{
    const int operation = mode == Mode::Shared ? LOCK_SH : LOCK_EX;
    const int problem = _descriptor < 0 ? errno : lock(_descriptor, operation, timeout);
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
