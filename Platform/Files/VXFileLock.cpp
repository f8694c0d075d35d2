#include "VXFileLock.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

// Returns 0 or an errno. The kernel cannot wait for these locks with a time limit: with a limit, this polls.
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

// A problem that any other process would have as well, because of the place rather than this process.
bool isImpossibleForAll(int problem)
{
    constexpr std::array problems{EROFS,  EACCES, EPERM,  ENOENT, ENOTDIR,     // the file cannot be made
                                  ENOSPC, EDQUOT, ENOLCK, ENOSYS, EOPNOTSUPP}; // or locked
    return std::find(problems.begin(), problems.end(), problem) != problems.end();
}

bool isPlainFile(const VXFileDescriptor &file)
{
    struct stat status = {};
    return ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

} // namespace

VXFileLock::VXFileLock(const QString &path, std::chrono::milliseconds timeout, Mode mode)
{
    const int access = mode == Mode::Shared ? O_RDONLY : O_RDWR;
    VXFileDescriptor file(
        ::open(QFile::encodeName(path).constData(), access | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (file.isOpen() ? isPlainFile(file) : errno != ELOOP)
        wait(std::move(file), timeout, mode);
    else
        _reason = u"The lock file \"%1\" is a link, or no plain file."_s.arg(path);
}

// Opened again: locks belong to the open file description, which others in this process would share.
VXFileLock::VXFileLock(int descriptor, std::chrono::milliseconds timeout)
{
    wait(VXFileDescriptor(::open(qPrintable(u"/proc/self/fd/%1"_s.arg(descriptor)), O_RDWR | O_CLOEXEC)), timeout,
         Mode::Exclusive);
}

void VXFileLock::wait(VXFileDescriptor file, std::chrono::milliseconds timeout, Mode mode)
{
    const int problem = file.isOpen() ? lock(file.number(), mode == Mode::Shared ? LOCK_SH : LOCK_EX, timeout) : errno;
    _isImpossible = isImpossibleForAll(problem);
    if (problem == 0) {
        _file = std::move(file); // closing it releases the lock
        return;
    }
    _problem = problem;
    _isTimedOut = problem == EWOULDBLOCK;
    _reason = qt_error_string(problem);
}
