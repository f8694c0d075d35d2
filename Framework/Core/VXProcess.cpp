#include "VXProcess.h"

#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// The archivers take options from these variables, and write names in the user's locale: what they do shall
// depend on their arguments alone, and names are UTF-8 here.
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

// How the child is set up between fork and exec: files, folder, session, signals.
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

    // Output goes to the descriptor, or nowhere for -1.
    void setOutput(int descriptor)
    {
        // First, for it may have one of the numbers set after it.
        if (descriptor >= 0)
            posix_spawn_file_actions_adddup2(&files, descriptor, STDOUT_FILENO);
        else
            posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    }

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

} // namespace

VXProcess::VXProcess(const QString &program, const QList<QByteArray> &arguments, const QString &workingFolder)
    : _program(QFile::encodeName(program)), _arguments(arguments), _workingFolder(QFile::encodeName(workingFolder))
{
}

VXProcess::~VXProcess()
{
    if (_outputDescriptor >= 0)
        ::close(_outputDescriptor);
}

int VXProcess::launch(bool capturesOutput)
{
    std::array<int, 2> pipe{-1, -1};
    if (capturesOutput && ::pipe2(pipe.data(), O_CLOEXEC) != 0)
        return errno;
    _outputDescriptor = pipe[0];

    SpawnSetup setup;
    setup.setOutput(pipe[1]);
    if (!_workingFolder.isEmpty())
        posix_spawn_file_actions_addchdir_np(&setup.files, _workingFolder.constData());
    std::vector<char *> arguments{const_cast<char *>(_program.constData())};
    for (const QByteArray &argument : _arguments)
        arguments.push_back(const_cast<char *>(argument.constData()));
    arguments.push_back(nullptr);

    pid_t identifier = 0;
    const int error = ::posix_spawn(&identifier, _program.constData(), &setup.files, &setup.attributes,
                                    arguments.data(), childEnvironment().data());
    if (pipe[1] >= 0)
        ::close(pipe[1]);
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
    if (output != nullptr)
        readOutput(output, maximumOutput);
    // The number stays the program's until it is reaped, so that terminate() never hits another one.
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

void VXProcess::readOutput(QByteArray *output, qsizetype maximumOutput)
{
    std::array<char, 65536> buffer{};
    while (true) {
        const ssize_t count = ::read(_outputDescriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        if (output->size() + count > maximumOutput) {
            terminate();
            return;
        }
        output->append(buffer.data(), count);
    }
}

void VXProcess::terminate()
{
    const VXMutexLocker lock(_lock);
    if (_identifier > 0)
        ::kill(_identifier, SIGTERM);
}
