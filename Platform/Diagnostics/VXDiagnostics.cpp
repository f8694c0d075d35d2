#include "VXDiagnostics.h"

#include <QtCore/QByteArray>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <unistd.h>

namespace {

std::atomic<VXDiagnosticHandler> diagnosticHandler{nullptr};

} // namespace

void VXConsoleLog(const QString &text)
{
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
