#include "VXLastWords.h"

#include "VXHostOutput.h"
#include "VXPluginMarker.h"
#include "VXUserDefaults.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array crashSignals{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

VXLastWords *current = nullptr;

alignas(16) std::array<char, 64 * 1024> signalStack; // a stack that is used up has no room for a handler

void writeText(const char *text)
{
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
}

// Calls only what may be called inside a signal handler. The signal's own action follows.
void tellOfCrash(int signal)
{
    const char *const worker = VXPluginMarker::lastWords();
    writeText("vornix: the program crashed");
    if (*worker != '\0') {
        writeText(" while the plugin ");
        writeText(worker);
    }
    writeText("\n");
    ::raise(signal);
}

void setCrashHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_ONSTACK | SA_NODEFER | static_cast<int>(SA_RESETHAND);
    for (const int signal : crashSignals)
        ::sigaction(signal, &action, nullptr);
}

} // namespace

VXLastWords::VXLastWords(VXHostOutput &output) : _output(output)
{
    current = this;
    [[maybe_unused]] static const int registered = std::atexit(atExit);
    const stack_t stack = {.ss_sp = signalStack.data(), .ss_flags = 0, .ss_size = signalStack.size()};
    ::sigaltstack(&stack, nullptr);
    setCrashHandler(tellOfCrash);
}

VXLastWords::~VXLastWords()
{
    setCrashHandler(SIG_DFL);
    current = nullptr;
}

void VXLastWords::atExit()
{
    if (VXLastWords *const lastWords = std::exchange(current, nullptr))
        lastWords->tellOfExit();
}

void VXLastWords::tellOfExit()
{
    const QString worker = QString::fromUtf8(VXPluginMarker::lastWords());
    const QString text =
        worker.isEmpty() ? u"a plugin ended the program"_s : u"the program was ended while the plugin %1"_s.arg(worker);
    if (_status)
        _output.note("vornix: "_L1 + text);
    else
        _output.fail(text);
    static_cast<void>(VXUserDefaults::standardUserDefaults().synchronize());
    const int status = _output.finish(_status.value_or(VXHostOutput::Failed));
    std::fflush(nullptr);
    ::_exit(status);
}
