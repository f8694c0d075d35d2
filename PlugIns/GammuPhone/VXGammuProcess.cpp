#include "VXGammuProcess.h"

#include "VXMethodLog.h"

#include <QtCore/QSet>
#include <QtCore/QTimer>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

// Normally the process ends its work sooner by itself; this is for one that is completely stuck.
constexpr std::chrono::seconds cancelLimit{2};
constexpr std::chrono::seconds endLimit{5};

// Processes that are saying goodbye to their phones. They are left running at the end of the program, because deleting
// their objects would kill them.
QSet<QProcess *> &leavingProcesses()
{
    static auto *const processes = new QSet<QProcess *>; // used on the main thread only
    return *processes;
}

} // namespace

VXGammuProcess::Ptr VXGammuProcess::start(const QString &program, const QVariantMap &configuration)
{
    return Ptr(new VXGammuProcess(program, configuration));
}

VXGammuProcess::VXGammuProcess(const QString &program, const QVariantMap &configuration) : _process(new QProcess)
{
    connect(_process, &QProcess::readyReadStandardOutput, this, &VXGammuProcess::read);
    connect(_process, &QProcess::finished, this, [this](int, QProcess::ExitStatus status) {
        finish(status == QProcess::CrashExit ? u"The phone's process ended unexpectedly."_s
                                             : u"The phone's process ended."_s);
    });
    connect(_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish(u"The phone's process could not be started."_s);
    });
    _process->start(program, {});
    send(VXGammuProtocol::Configure{.values = configuration});
}

// The process says goodbye to its phone; nobody waits for that.
void VXGammuProcess::hangUp()
{
    _isHungUp = true;
    disconnect();
    _process->disconnect(this);
    deleteLater();
    if (_process->state() == QProcess::NotRunning) {
        _process->deleteLater();
        return;
    }
    leavingProcesses().insert(_process);
    connect(_process, &QProcess::finished, _process, [process = _process] {
        leavingProcesses().remove(process);
        process->deleteLater();
    });
    QTimer::singleShot(endLimit, _process, &QProcess::kill);
    _process->closeWriteChannel();
}

void VXGammuProcess::cancel()
{
    send(VXGammuProtocol::Cancel{});
    QTimer::singleShot(cancelLimit, this, [this, still = _process->processId()] {
        if (still == _process->processId())
            _process->kill();
    });
}

void VXGammuProcess::read()
{
    _frames.add(_process->readAllStandardOutput());
    while (const auto message = _isHungUp ? std::nullopt : _frames.next()) { // each may make its receiver hang up
        const auto lost = VXGammuProtocol::decode<VXGammuProtocol::Lost>(*message);
        if (!lost) {
            Q_EMIT didReceive(*message);
        } else if (!_failure) {
            _failure = lost->failure;
            Q_EMIT willEnd();
        }
    }
    if (!_isHungUp && _frames.isDamaged())
        _process->kill();
}

void VXGammuProcess::finish(const QString &reason)
{
    if (std::exchange(_hasEnded, true))
        return;
    read();
    if (_isHungUp)
        return;
    const QByteArray said = _process->readAllStandardError().trimmed();
    if (!said.isEmpty())
        VXLogMethod(VXLogWarning,
                    "finish:", "the phone's process said: "_L1 + QString::fromLocal8Bit(said.right(2000)));
    if (!_failure)
        _failure = VXGammuRefusal(reason);
    Q_EMIT didEnd(_failure);
}
