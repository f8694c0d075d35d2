#pragma once

#include <benchmark/benchmark.h>
#include <QtCore/QMap>
#include <QtCore/QString>

/**
 * Shows each run as usual, and at the end a table with the ratio of every "GROUP/ours" to its "GROUP/peer" from the
 * same run; "GROUP/peer NAME" is one more, shown only. A benchmark may state how much is allowed as a user counter named "allowed".
 */
class VXRatioReporter : public benchmark::ConsoleReporter
{
public:
    VXRatioReporter();
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;
    /** Whether a ratio exceeds what is allowed; after the last run. */
    bool isAnyMissed() const { return _isAnyMissed; }

private:
    struct Times
    {
        double ours = 0;
        QMap<QString, double> peers = {}; // by "peer" or "peer NAME"
        double allowed = 0;               // 0: nothing stated
    };
    QMap<QString, Times> _groups;
    bool _isAnyMissed = false;
};

/** Runs those that the arguments choose, each several times; after the application object is made. Returns the exit status:
 *  1 if one exceeds what is allowed. */
int VXRunBenchmarks(int argc, char **argv);
