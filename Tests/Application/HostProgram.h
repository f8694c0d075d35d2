#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

/** What came of a run of the program. */
struct HostOutcome
{
    int status;
    QByteArray output;
    QByteArray errors;
};

/** The path of the program itself. */
QString hostProgram();

/** While it lives, the program runs from an application without plugins of its own. */
class HostWithoutPlugins
{
public:
    HostWithoutPlugins();
    ~HostWithoutPlugins();
    HostWithoutPlugins(const HostWithoutPlugins &) = delete;
    HostWithoutPlugins &operator=(const HostWithoutPlugins &) = delete;
};

/** Runs the program in the test's home folder and waits for its end, which must not be a crash. */
HostOutcome runHost(const QStringList &arguments, const QByteArray &input = {});

/** Runs a command line for bash, where $0 is the program, which may crash: 128 plus the signal. */
HostOutcome runHostShell(const QString &script);
