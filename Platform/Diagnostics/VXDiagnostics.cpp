#include "VXDiagnostics.h"

#include "VXMutex.h"

#include <QtCore/QByteArray>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <unistd.h>

namespace {

std::atomic<VXDiagnosticHandler> diagnosticHandler{nullptr};

std::atomic<bool> omitsRepetitions = false;

// Whether it is the last text once more.
bool isRepeated(const QString &text)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::minutes longest{1};
    static VXMutex lock;
    static auto *const last = new QString; // never freed: threads may tell of something to the very end
    static Clock::time_point date;
    const VXMutexLocker locker(lock);
    const auto now = Clock::now();
    if (text == *last && now - date < longest)
        return true;
    *last = text;
    date = now;
    return false;
}

} // namespace

void VXConsoleLog(const QString &text)
{
    if (omitsRepetitions && isRepeated(text))
        return;
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds = now.time_since_epoch() / std::chrono::milliseconds(1) % 1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    std::array<char, 32> stamp{};
    std::strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &local);
    const QString line = QString::asprintf("%s.%03d %s[%d] ", stamp.data(), int(milliseconds),
                                           program_invocation_short_name, ::getpid());
    const QByteArray bytes = line.toUtf8() + text.toUtf8() + '\n';
    // One write keeps lines of several threads whole. Nobody is left to tell when the console is gone.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, bytes.constData(), size_t(bytes.size()));
}

void VXSetConsoleOmitsRepetitions(bool flag)
{
    omitsRepetitions = flag;
}

VXDiagnosticHandler VXSetDiagnosticHandler(VXDiagnosticHandler handler)
{
    return diagnosticHandler.exchange(handler);
}

void VXReportDiagnostic(unsigned level, const QString &text)
{
    if (const VXDiagnosticHandler handler = diagnosticHandler.load())
        handler(level, text);
    else
        VXConsoleLog(text);
}
