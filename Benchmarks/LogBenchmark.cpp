// A line to the file log beside spdlog's basic file sink that flushes each line; and what a trace costs that is off.

#include "VXLog.h"
#include "VXMethodLog.h"

#include <benchmark/benchmark.h>
#include <QtCore/QTemporaryDir>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const QTemporaryDir &folder()
{
    static const QTemporaryDir temporary;
    return temporary;
}

void logLine(benchmark::State &state)
{
    // A logger for a file has no system log.
    VXLog *const log = VXLog::logWithFilePath(folder().filePath(u"ours.log"_s));
    const QString message = u"-[VXPluginManager loadPlugins] Could not load: com.halvern.VNX2.example"_s;
    for (auto _ : state)
        log->logMessage(VXLogError, message);
    state.counters["allowed"] = benchmark::Counter(1.0, benchmark::Counter::kAvgThreads);
}

void spdlogLine(benchmark::State &state)
{
    static const auto logger = [] {
        auto made = spdlog::basic_logger_mt("peer", folder().filePath(u"peer.log"_s).toStdString());
        made->flush_on(spdlog::level::trace);
        return made;
    }();
    const std::string message = "-[VXPluginManager loadPlugins] Could not load: com.halvern.VNX2.example";
    for (auto _ : state)
        logger->error(message);
}

class Tracer
{
public:
    void trace(int value) const { VXTraceMethod(VXDebugCategory::PLUG(), "trace:", u"value %1"_s.arg(value)); }
};

void disabledTrace(benchmark::State &state)
{
    const Tracer tracer;
    int value = 0;
    for (auto _ : state) {
        tracer.trace(++value);
        benchmark::DoNotOptimize(value);
    }
}

void emptyBranch(benchmark::State &state)
{
    static std::atomic<bool> on{false};
    int value = 0;
    for (auto _ : state) {
        ++value;
        if (on.load(std::memory_order_relaxed))
            benchmark::ClobberMemory();
        benchmark::DoNotOptimize(value);
    }
}

} // namespace

BENCHMARK(logLine)->Name("log/ours")->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK(spdlogLine)->Name("log/peer")->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK(disabledTrace)->Name("trace-off/ours");
BENCHMARK(emptyBranch)->Name("trace-off/peer");
