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

std::atomic<bool> isForPeople = false;

// Whether it repeats the last text.
bool isRepeated(const QString &text)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::minutes longest{1};
    static VXMutex lock;
    static auto *const last = new QString; // never freed: threads may report problems until the very end
    static Clock::time_point date;
    const VXMutexLocker locker(lock);
    const auto now = Clock::now();
    if (text == *last && now - date < longest)
        return true;
    *last = text;
    date = now;
    return false;
}

// Date, program and process, in the usual form of such lines.
QString stamp()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds = now.time_since_epoch() / std::chrono::milliseconds(1) % 1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &local);
    return QString::asprintf("%s.%03d %s[%d] ", date.data(), int(milliseconds), program_invocation_short_name,
                             ::getpid());
}

} // namespace

void VXConsoleLog(const QString &text)
{
    if (isForPeople && isRepeated(text))
        return;
    const QString start =
        isForPeople ? QString::fromLocal8Bit(program_invocation_short_name) + QStringLiteral(": ") : stamp();
    const QByteArray bytes = start.toUtf8() + text.toUtf8() + '\n';
    // A single write keeps lines of several threads whole. If the console is gone, nobody can be told.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, bytes.constData(), size_t(bytes.size()));
}

void VXSetConsoleIsForPeople(bool flag)
{
    isForPeople = flag;
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
