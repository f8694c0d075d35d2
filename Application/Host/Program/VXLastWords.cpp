#include "VXLastWords.h"

#include "VXBundle.h"
#include "VXHostOutput.h"
#include "VXPluginMarker.h"
#include "VXPluginOnStack.h"
#include "VXSignalStack.h"
#include "VXUserDefaults.h"

#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned longestSaving = 10; // seconds
constexpr std::array requestSignals{SIGINT, SIGTERM, SIGHUP};

/** Text made inside a signal handler: without allocation, and truncated if it gets too long. Written as it grows. */
class CrashText
{
public:
    void add(std::string_view text)
    {
        const std::string_view part = text.substr(0, _text.size() - _size);
        std::ranges::copy(part, _text.begin() + static_cast<std::ptrdiff_t>(_size));
        _size += part.size();
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, part.data(), part.size());
    }
    std::string_view text() const { return {_text.data(), _size}; }

private:
    std::array<char, 2048> _text{};
    size_t _size = 0;
};

CrashText crashText;

// Calls only functions that are allowed inside a signal handler. The signal's own action follows.
void endOnRequest(int signal)
{
    VXPluginMarker::takeBack();
    if (const std::string_view worker = VXPluginMarker::lastWords(); !worker.empty()) {
        CrashText text;
        text.add("vornix: ended by a signal while the plugin ");
        text.add(worker);
        text.add("\n");
    }
    std::signal(signal, SIG_DFL);
    ::raise(signal);
}

// Code that wants to know about such a signal takes it over (VXSignalWatcher). Signals that the program was started to
// ignore stay ignored.
void setRequestHandler()
{
    for (const int signal : requestSignals) {
        struct sigaction action = {};
        if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
            continue;
        action.sa_handler = endOnRequest;
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

std::atomic<VXLastWords *> VXLastWords::_current = nullptr;

VXLastWords::VXLastWords(VXHostOutput &output) : _output(output), _process(::getpid())
{
    VXPrepareStackWalk();
    _current = this;
    [[maybe_unused]] static const int registered = std::atexit(atExit) + std::at_quick_exit(atExit);
    VXGiveSignalStack();
    VXSetCrashHandler(tellOfCrash);
    setRequestHandler();
}

// Crashes are still reported afterwards, because destructors of plugins' static objects have yet to run.
VXLastWords::~VXLastWords()
{
    _current = nullptr;
}

// These two call only functions that are allowed inside a signal handler. Walking the stack may itself crash if the
// stack was overwritten: then the second one continues.
void VXLastWords::tellOfCrash(int signal)
{
    VXSetCrashHandler(finishCrash);
    crashText.add("vornix: the program crashed");
    if (const std::string_view worker = VXPluginMarker::lastWords(); !worker.empty()) {
        crashText.add(" while the plugin ");
        crashText.add(worker);
    }
    if (const std::string_view bundle = VXPluginOnStack(); !bundle.empty()) {
        crashText.add(", in the code of ");
        crashText.add(bundle);
    }
    finishCrash(signal);
}

// The signal's own action follows.
void VXLastWords::finishCrash(int signal)
{
    VXSetCrashHandler(SIG_DFL);
    if (const VXLastWords *const lastWords = _current)
        lastWords->_output.answerCrash(crashText.text().substr(std::string_view("vornix: ").size()));
    crashText.add("\n");
    ::raise(signal);
}

void VXLastWords::atExit()
{
    VXLastWords *lastWords = _current;
    if (lastWords != nullptr && lastWords->_process == ::getpid() && _current.exchange(nullptr) == lastWords)
        lastWords->tellOfExit();
}

QString VXLastWords::textOfExit()
{
    const QString worker = QString::fromUtf8(VXPluginMarker::lastWords());
    const std::string_view code = VXPluginOnStack();
    const QString bundlePath = QFile::decodeName(QByteArray(code.data(), static_cast<qsizetype>(code.size())));
    if (!worker.isEmpty())
        return u"the program was ended while the plugin %1"_s.arg(worker) +
               (bundlePath.isEmpty() ? QString() : u", by the code of %1"_s.arg(bundlePath));
    const VXBundle::Ptr bundle = bundlePath.isEmpty() ? nullptr : VXBundle::bundleWithPath(bundlePath);
    return bundle ? u"the program was ended by the plugin %1, %2"_s.arg(bundle->bundleIdentifier(), bundlePath)
                  : u"a plugin ended the program"_s;
}

void VXLastWords::tellOfExit()
{
    const QString text = textOfExit();
    if (_status)
        _output.note("vornix: "_L1 + text);
    else
        _output.fail(text);
    const int status = _output.finish(_status.value_or(VXHostOutput::Failed));
    std::fflush(nullptr);
    std::signal(SIGALRM, SIG_DFL);
    ::alarm(longestSaving); // the plugin may have been called with the preferences' locks held
    static_cast<void>(VXUserDefaults::standardUserDefaults().synchronize());
    ::_exit(status);
}

// -- Functions that end a process without running what std::atexit was given: the program's own versions, which plugins
// find first.

#define VX_SYSTEM_OPERATION extern "C" __attribute__((visibility("default"), noreturn))

VX_SYSTEM_OPERATION void _exit(int status)
{
    VXLastWords::atExit();
    for (;;)
        ::syscall(SYS_exit_group, status);
}

VX_SYSTEM_OPERATION void _Exit(int status) noexcept
{
    ::_exit(status);
}
