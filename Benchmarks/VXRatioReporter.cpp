#include "VXRatioReporter.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

VXRatioReporter::VXRatioReporter() : ConsoleReporter(OO_Tabular) {}

void VXRatioReporter::ReportRuns(const std::vector<Run> &runs)
{
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
        if (run.error_occurred || run.run_type == Run::RT_Aggregate)
            continue;
        // "group/ours" may be followed by arguments and options: "log/ours/real_time/threads:4".
        QStringList parts = QString::fromStdString(run.benchmark_name()).split(u'/');
        const qsizetype ours = parts.indexOf(QStringLiteral("ours"));
        const qsizetype peer = parts.indexOf(QRegularExpression(QStringLiteral("peer( .*)?")));
        if (ours < 0 && peer < 0)
            continue;
        const QString name = parts.takeAt(ours >= 0 ? ours : peer);
        parts.removeIf([](const QString &part) { return part.startsWith(QStringLiteral("repeats:")); });
        Times &times = _groups[parts.join(u'/')];
        double &time = ours >= 0 ? times.ours : times.peers[name];
        // The fastest repetition is the one least disturbed by whatever else the machine does.
        const double measured = run.GetAdjustedRealTime();
        time = time == 0 ? measured : std::min(time, measured);
        if (const auto allowed = run.counters.find("allowed"); allowed != run.counters.end())
            times.allowed = allowed->second;
    }
}

void VXRatioReporter::Finalize()
{
    ConsoleReporter::Finalize();
    std::printf("\n%-52s %12s %12s %8s %8s\n", "beside the peer", "ours", "peer", "ratio", "allowed");
    for (auto group = _groups.cbegin(); group != _groups.cend(); ++group) {
        for (auto peer = group->peers.cbegin(); group->ours > 0 && peer != group->peers.cend(); ++peer) {
            const bool isMain = peer.key() == QStringLiteral("peer");
            const double ratio = group->ours / *peer;
            std::printf("%-52s %12.1f %12.1f %8.3f ", qPrintable(group.key() + peer.key().mid(4)), group->ours, *peer,
                        ratio);
            const bool isMissed = isMain && group->allowed > 0 && ratio > group->allowed;
            _isAnyMissed = _isAnyMissed || isMissed;
            if (isMain && group->allowed > 0)
                std::printf("%8.3f%s\n", group->allowed, isMissed ? "  MISSED" : "");
            else
                std::printf("%8s\n", "-");
        }
    }
}

int VXRunBenchmarks(int argc, char **argv)
{
    // From now on the C++ library's shortcuts for programs of one thread are off, as they are in real ones.
    std::thread([] {}).join();
    // Several repetitions in mixed order, so that a slow moment of the machine does not fall on one side only.
    std::vector<char *> arguments(argv, argv + argc);
    std::string repetitions = "--benchmark_repetitions=5";
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::string minimumTime = "--benchmark_min_time=0.1";
    arguments.insert(arguments.begin() + 1, {repetitions.data(), interleaving.data(), minimumTime.data()});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    VXRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.isAnyMissed() ? 1 : 0;
}
