// Of all programs of benchmarks that have no main of their own.

#include "VXRatioReporter.h"

#include <QtCore/QCoreApplication>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return VXRunBenchmarks(argc, argv);
}
