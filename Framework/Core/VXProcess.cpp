#include "VXProcess.h"

#include <QtCore/QByteArrayList>
#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr qsizetype keptMessages = 2048; // bytes

// Drops variables from which the archivers take options, and the user's locale, in which they write names: their work
// must depend on their arguments only, and names are UTF-8 here.
std::vector<char *> childEnvironment()
{
    static constexpr std::array dropped{
        "ZIP=", "ZIPOPT=", "UNZIP=", "UNZIPOPT=", "ZIPINFO=", "ZIPINFOOPT=", "LC_ALL=", "LANGUAGE="};
    static std::array<char, 15> locale{"LC_ALL=C.UTF-8"};
    std::vector<char *> environment;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        const auto isVariable = [&](const char *name) { return std::strncmp(*variable, name, std::strlen(name)) == 0; };
        if (std::none_of(dropped.begin(), dropped.end(), isVariable))
            environment.push_back(*variable);
    }
    environment.push_back(locale.data());
    environment.push_back(nullptr);
    return environment;
}

// The setup of the child between fork and exec: files, folder, session, signals.
class SpawnSetup
{
public:
    SpawnSetup()
    {
        posix_spawn_file_actions_init(&files);
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigset_t standard;
        sigemptyset(&none);
        sigemptyset(&standard);
        for (const int number : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGQUIT})
            sigaddset(&standard, number);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &standard);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSetup()
    {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup &) = delete;
    SpawnSetup &operator=(const SpawnSetup &) = delete;

    // Both descriptors must be above those of the standard streams.
    void setOutput(int output, int messages)
    {
        posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&files, messages, STDERR_FILENO);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    }

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

// A pipe that the program does not inherit; its write end is never a standard stream.
class Pipe
{
public:
    Pipe() = default;
    ~Pipe()
    {
        closeEnd(_reading);
        closeEnd(_writing);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    // Returns 0 or an errno.
    int open()
    {
        std::array<int, 2> ends{-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            return errno;
        _reading = ends[0];
        _writing = ::fcntl(ends[1], F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int error = _writing < 0 ? errno : 0;
        ::close(ends[1]);
        return error;
    }
    int writing() const { return _writing; }
    int takeReading() { return std::exchange(_reading, -1); }

private:
    static void closeEnd(int descriptor)
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }

    int _reading = -1;
    int _writing = -1;
};

} // namespace

VXProcess::VXProcess(const QString &program, const QList<QByteArray> &arguments, const QString &workingFolder)
    : _program(QFile::encodeName(program)), _arguments(arguments), _workingFolder(QFile::encodeName(workingFolder))
{
}

VXProcess::~VXProcess()
{
    for (const int descriptor : {_outputDescriptor, _messageDescriptor}) {
        if (descriptor >= 0)
            ::close(descriptor);
    }
}

int VXProcess::launch(bool capturesOutput)
{
    Pipe output;
    Pipe messages;
    if (const int error = messages.open())
        return error;
    if (const int error = capturesOutput ? output.open() : 0)
        return error;

    SpawnSetup setup;
    setup.setOutput(capturesOutput ? output.writing() : messages.writing(), messages.writing());
    if (!_workingFolder.isEmpty())
        posix_spawn_file_actions_addchdir_np(&setup.files, _workingFolder.constData());
    // A limit that applies from the start is set by prlimit, which then executes the program.
    QByteArrayList words{_program};
    if (_largestFile >= 0)
        words = {"/usr/bin/prlimit", "--fsize=" + QByteArray::number(_largestFile), _program};
    words += _arguments;
    std::vector<char *> arguments;
    for (const QByteArray &argument : words)
        arguments.push_back(const_cast<char *>(argument.constData()));
    arguments.push_back(nullptr);

    pid_t identifier = 0;
    const int error = ::posix_spawn(&identifier, words.first().constData(), &setup.files, &setup.attributes,
                                    arguments.data(), childEnvironment().data());
    _outputDescriptor = output.takeReading();
    _messageDescriptor = messages.takeReading();
    const VXMutexLocker lock(_lock);
    _identifier = error == 0 ? identifier : 0;
    return error;
}

int VXProcess::waitUntilExit(QByteArray *output, qsizetype maximumOutput)
{
    pid_t identifier = 0;
    {
        const VXMutexLocker lock(_lock);
        identifier = _identifier;
    }
    if (identifier == 0)
        return -1;
    readAll(output, maximumOutput);
    // The process ID stays valid until the child is reaped, so terminate() never hits another process.
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(identifier), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR)
        continue;
    const VXMutexLocker lock(_lock);
    int status = 0;
    const bool known = ::waitpid(identifier, &status, 0) == identifier;
    _identifier = 0;
    if (!known)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

// Reads both pipes at the same time, since the program blocks while one is full.
void VXProcess::readAll(QByteArray *output, qsizetype maximumOutput)
{
    std::array<char, 65536> buffer{};
    std::array<pollfd, 2> pipes{pollfd{_messageDescriptor, POLLIN, 0}, pollfd{_outputDescriptor, POLLIN, 0}};
    while (pipes[0].fd >= 0 || pipes[1].fd >= 0) {
        if (::poll(pipes.data(), pipes.size(), -1) < 0 && errno != EINTR)
            return;
        for (pollfd &pipe : pipes) {
            const bool isReady = pipe.fd >= 0 && std::exchange(pipe.revents, 0) != 0;
            const ssize_t count = isReady ? ::read(pipe.fd, buffer.data(), buffer.size()) : -1;
            if (isReady && (count == 0 || (count < 0 && errno != EINTR)))
                pipe.fd = -1; // poll ignores it
            else if (count > 0 && &pipe == pipes.data())
                _messages.append(buffer.data(), std::min<qsizetype>(count, keptMessages - _messages.size()));
            else if (count > 0 && output != nullptr && output->size() + count <= maximumOutput)
                output->append(buffer.data(), count);
            else if (count > 0)
                terminate();
        }
    }
}

QString VXProcess::messages() const
{
    return QString::fromUtf8(_messages).simplified();
}

void VXProcess::terminate()
{
    const VXMutexLocker lock(_lock);
    if (_identifier > 0)
        ::kill(_identifier, SIGTERM);
}
