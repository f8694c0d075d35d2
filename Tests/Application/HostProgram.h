#pragma once

#include "VXWords.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>

#include <ostream>
#include <string>

/** What the program wrote; matchers take it as it is. */
struct HostText : QByteArray
{
    HostText(const QByteArray &bytes) : QByteArray(bytes) {}
    operator std::string() const { return toStdString(); }
};
void PrintTo(const HostText &text, std::ostream *out);
inline std::ostream &operator<<(std::ostream &out, const HostText &text)
{
    return out << text.toStdString();
}

/** What came of a run of the program. */
struct HostOutcome
{
    int status;
    HostText output;
    HostText errors;

    /** What was written with --json; undefined when that is none. */
    QJsonValue json() const;
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
HostOutcome runHost(const VXWords &arguments, const QByteArray &input = {});

/** Runs a command line for bash, where $0 is the program, which may crash: 128 plus the signal. */
HostOutcome runHostShell(const QString &script);
