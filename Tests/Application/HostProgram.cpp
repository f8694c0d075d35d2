#include "HostProgram.h"
#include "HostTestsPaths.h"

#include "VXJSON.h"
#include "VXTesting.h"

#include <QtCore/QProcess>

using namespace Qt::StringLiterals;

namespace {

constexpr int longestRun =
    100'000; // milliseconds; a sanitizer makes a report of all texts of the program last half a minute

bool runsWithoutPlugins = false;

HostOutcome outcomeOf(const QString &command, const VXWords &arguments, const QByteArray &input)
{
    QProcess process;
    process.start(command, arguments);
    process.write(input);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(longestRun)) << arguments.join(u' ').toStdString();
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << arguments.join(u' ').toStdString();
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

void PrintTo(const HostText &text, std::ostream *out)
{
    PrintTo(static_cast<const QByteArray &>(text), out);
}

QJsonValue HostOutcome::json() const
{
    return VXJSONFromText(output).value_or(QJsonValue(QJsonValue::Undefined));
}

QString hostProgram()
{
    return runsWithoutPlugins ? QStringLiteral(VORNIX_BARE_PROGRAM) : QStringLiteral(VORNIX_PROGRAM);
}

HostWithoutPlugins::HostWithoutPlugins()
{
    runsWithoutPlugins = true;
}

HostWithoutPlugins::~HostWithoutPlugins()
{
    runsWithoutPlugins = false;
}

HostOutcome runHost(const VXWords &arguments, const QByteArray &input)
{
    return outcomeOf(hostProgram(), arguments, input);
}

HostOutcome runHostShell(const QString &script)
{
    return outcomeOf(u"bash"_s, {u"-c"_s, script, hostProgram()}, {});
}
