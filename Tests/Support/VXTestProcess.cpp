#include "VXTestProcess.h"

#include <QtCore/QFile>

#include <csignal>
#include <utility>

#include <sys/wait.h>

using namespace Qt::StringLiterals;

VXTestProcess::VXTestProcess(const QString &command)
    : _output(::popen(QFile::encodeName("echo $$; exec setpriv --pdeathsig TERM "_L1 + command).constData(), "r")),
      _process(readLine().toInt())
{
}

QByteArray VXTestProcess::readLine()
{
    QByteArray line(1024, '\0');
    if (_output == nullptr || ::fgets(line.data(), static_cast<int>(line.size()), _output) == nullptr)
        return {};
    return QByteArray(line.constData()).trimmed();
}

bool VXTestProcess::isRunning() const
{
    siginfo_t ended{};
    return _process > 0 && ::waitid(P_PID, static_cast<id_t>(_process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0;
}

void VXTestProcess::stop()
{
    if (_process > 0)
        ::kill(std::exchange(_process, 0), SIGTERM);
    if (_output != nullptr)
        ::pclose(std::exchange(_output, nullptr)); // waits for its end
}

VXTestBus::VXTestBus(const QString &socketPath)
    : _process("dbus-daemon --session --nofork --print-address=1 --address=unix:path="_L1 + socketPath),
      _address(_process.readLine())
{
}

VXTestDisplay::VXTestDisplay()
    : _process(u"Xvfb -displayfd 1 -screen 0 640x480x24 -nolisten tcp -noreset 2>/dev/null"_s),
      _number(_process.readLine()), _displayBefore(qgetenv("DISPLAY"))
{
    qputenv("DISPLAY", ':' + _number);
}

VXTestDisplay::~VXTestDisplay()
{
    qputenv("DISPLAY", _displayBefore);
}
