// The program with windows over large stores, from its start to the painted window, beside a program with an empty window. Times are
// processor time with all that the process did; "wall" is what a clock says, in milliseconds; "MiB" the most memory it had.

#include "BenchmarkModels.h"
#include "DesktopHome.h"

#include <benchmark/benchmark.h>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QThread>

#include <algorithm>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

double milliseconds(const timeval &time)
{
    return double(time.tv_sec) * 1000 + double(time.tv_usec) / 1000;
}

// In MiB, so far. What wait4 tells is at least what this process had when it started the other.
double mostMemoryOf(pid_t process)
{
    QFile file(u"/proc/%1/status"_s.arg(process));
    const QByteArray text = file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    const qsizetype at = text.indexOf("VmHWM:");
    return at < 0 ? 0 : text.mid(at + 6, 16).trimmed().split(' ').constFirst().toDouble() / 1024;
}

void startProgram(benchmark::State &state, QByteArrayList command)
{
    std::vector<char *> words;
    for (QByteArray &word : command)
        words.push_back(word.data());
    words.push_back(nullptr);
    double wall = 0;
    double largest = 0;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        pid_t process = 0;
        check(::posix_spawn(&process, words.front(), nullptr, nullptr, words.data(), environ) == 0, "not started");
        int status = 0;
        struct rusage usage = {};
        pid_t ended = 0;
        while ((ended = ::wait4(process, &status, WNOHANG, &usage)) == 0) {
            largest = std::max(largest, mostMemoryOf(process));
            QThread::usleep(500);
        }
        check(ended == process && status == 0, "the program failed");
        wall += double(clock.nsecsElapsed()) / 1e6;
        state.SetIterationTime((milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime)) / 1000);
    }
    state.counters["wall"] = wall / double(state.iterations());
    state.counters["MiB"] = largest;
}

void startDesktop(benchmark::State &state)
{
    state.counters["allowed"] = 3;
    startProgram(state, {VORNIX_DESKTOP, "--home", DesktopHome::shared().path().toUtf8(), "--until-shown"});
}

void startEmptyWindow(benchmark::State &state)
{
    startProgram(state, {VORNIX_EMPTY_WINDOW});
}

} // namespace

BENCHMARK(startDesktop)->Name("StartToWindow/ours")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(startEmptyWindow)->Name("StartToWindow/peer")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
