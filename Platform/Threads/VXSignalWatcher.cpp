#include "VXSignalWatcher.h"

#include "VXException.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// The pipe to which each signal's number is written, as descriptor + 1; 0 for none. The only data a signal handler
// uses.
std::array<std::atomic<int>, NSIG> pipes;

std::atomic<int> &pipeOf(int number)
{
    return pipes[static_cast<std::size_t>(number)];
}

void writeSignal(int number)
{
    const int savedError = errno;
    const auto byte = static_cast<unsigned char>(number);
    if (const int pipe = pipeOf(number); pipe != 0 && ::write(pipe - 1, &byte, 1) < 0)
        errno = 0; // a full pipe already contains a signal to deliver
    errno = savedError;
}

int openPipe(int (&ends)[2])
{
    VXAssert(::pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0, u"No pipe for signals"_s);
    return ends[0];
}

} // namespace

VXSignalWatcher::VXSignalWatcher(std::initializer_list<int> signalNumbers, Handler handler)
    : _handler(std::move(handler)), _notifier(openPipe(_pipe), QSocketNotifier::Read)
{
    QObject::connect(&_notifier, &QSocketNotifier::activated, [this] { deliver(); });
    for (const int number : signalNumbers) {
        Watched watched{number, {}, pipeOf(number).exchange(_pipe[1] + 1)};
        struct sigaction action = {};
        action.sa_handler = writeSignal;
        action.sa_flags = SA_RESTART;
        ::sigaction(number, &action, &watched.previousAction);
        _watched.push_back(watched);
    }
}

VXSignalWatcher::~VXSignalWatcher()
{
    for (const Watched &watched : _watched) {
        ::sigaction(watched.number, &watched.previousAction, nullptr);
        pipeOf(watched.number) = watched.previousPipe;
    }
    _notifier.setEnabled(false);
    ::close(_pipe[0]);
    ::close(_pipe[1]);
}

void VXSignalWatcher::deliverPending()
{
    while (deliver()) {
    }
}

bool VXSignalWatcher::deliver()
{
    unsigned char number = 0;
    if (::read(_pipe[0], &number, 1) != 1)
        return false;
    _handler(number);
    return true;
}
