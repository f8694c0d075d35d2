#include "VXCommand.h"

#include "VXFileDescriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto grace = 2s; // between asking the program to end and killing it
constexpr qsizetype longestTail = 4096;

std::vector<char *> pointers(const QList<QByteArray> &texts)
{
    std::vector<char *> result;
    result.reserve(static_cast<size_t>(texts.size()) + 1);
    for (const QByteArray &text : texts)
        result.push_back(const_cast<char *>(text.constData()));
    result.push_back(nullptr);
    return result;
}

// A program while it runs.
class Run
{
public:
    int start(const VXCommand &command);
    void waitUntilEnd(Clock::time_point deadline, int stop);
    VXCommandOutcome finish();

private:
    bool makeInput(const QByteArray &input);
    int spawn(const VXCommand &command, int errors);
    bool wait(Clock::time_point deadline, int stop = -1);
    bool readErrors();

    pid_t _process = 0;
    VXFileDescriptor _input;  // all of the input, as a file, so that nobody has to feed the program
    VXFileDescriptor _errors; // what it writes to standard error
    VXFileDescriptor _handle; // readable once it has ended
    VXCommandOutcome _outcome;
};

bool Run::makeInput(const QByteArray &input)
{
    _input = VXFileDescriptor(::memfd_create("event", MFD_CLOEXEC));
    const auto size = static_cast<size_t>(input.size());
    return _input.isOpen() && ::pwrite(_input.number(), input.constData(), size, 0) == input.size();
}

int Run::start(const VXCommand &command)
{
    std::array<int, 2> pipe{-1, -1};
    if (!makeInput(command.input) || ::pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return errno;
    _errors = VXFileDescriptor(pipe[0]);
    const VXFileDescriptor writingEnd(pipe[1]);
    ::fcntl(pipe[1], F_SETFL, 0); // the program's end blocks, as programs expect
    if (const int problem = spawn(command, pipe[1]))
        return problem;
    _handle =
        VXFileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, _process, 0))); // glibc 2.36 declares it for C only
    return 0;
}

int Run::spawn(const VXCommand &command, int errors)
{
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&files);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&files, _input.number(), STDIN_FILENO);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&files, errors, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    posix_spawn_file_actions_addchdir_np(&files, command.workingFolder.constData());
    sigset_t none;
    sigset_t standard;
    sigemptyset(&none);
    sigfillset(&standard);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &standard);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    const std::vector<char *> arguments = pointers(QList<QByteArray>{command.program} + command.arguments);
    const int problem = ::posix_spawn(&_process, command.program.constData(), &files, &attributes, arguments.data(),
                                      pointers(command.environment).data());
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return problem;
}

// False if nothing more will arrive.
bool Run::readErrors()
{
    std::array<char, 4096> buffer{};
    while (true) {
        const ssize_t count = ::read(_errors.number(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count < 0 && errno == EAGAIN;
        _outcome.errorTail.append(buffer.data(), count);
        const qsizetype excess = _outcome.errorTail.size() - longestTail;
        if (excess > 0)
            _outcome.errorTail.remove(0, excess);
    }
}

// False if the program was still running at the deadline, or if it was to be stopped.
bool Run::wait(Clock::time_point deadline, int stop)
{
    std::array<pollfd, 3> sources{pollfd{_handle.number(), POLLIN, 0}, pollfd{_errors.number(), POLLIN, 0},
                                  pollfd{stop, POLLIN, 0}};
    while (true) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int count = ::poll(sources.data(), sources.size(), static_cast<int>(std::max(rest, 0ms).count()));
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0 && sources[1].revents != 0 && !readErrors())
            sources[1].fd = -1;
        if (count > 0 && sources[0].revents != 0)
            return true;
        if (count > 0 && sources[2].revents != 0) {
            _outcome.isStopped = true;
            return false;
        }
        if (Clock::now() >= deadline)
            return false;
    }
}

void Run::waitUntilEnd(Clock::time_point deadline, int stop)
{
    if (_handle.isOpen() && wait(deadline, stop))
        return;
    // The process identifier belongs to the program until it is reaped, and likewise that of the group.
    _outcome.isTimedOut = !_outcome.isStopped;
    ::kill(-_process, SIGTERM);
    if (_handle.isOpen())
        wait(Clock::now() + grace);
    ::kill(-_process, SIGKILL);
}

VXCommandOutcome Run::finish()
{
    int status = 0;
    while (::waitpid(_process, &status, 0) < 0 && errno == EINTR)
        continue;
    readErrors();
    _outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    _outcome.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return _outcome;
}

} // namespace

VXCommandStop::VXCommandStop() : _descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

VXCommandStop::~VXCommandStop()
{
    if (_descriptor >= 0)
        ::close(_descriptor);
}

void VXCommandStop::request() const
{
    ::eventfd_write(_descriptor, 1);
}

VXCommandOutcome VXCommand::run() const
{
    Run run;
    VXCommandOutcome outcome;
    outcome.startProblem = run.start(*this);
    if (outcome.startProblem != 0)
        return outcome;
    run.waitUntilEnd(Clock::now() + timeout, stop ? stop->descriptor() : -1);
    return run.finish();
}
