#include "VXOutboxSender.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QTimer>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds longestFarewell = 30s;
constexpr std::chrono::milliseconds resumption = 30s;     // if the program goes on after all
constexpr std::chrono::milliseconds longestGivingUp = 5s; // after that the outcome is unknown

} // namespace

void VXOutboxSender::start(const QString &kind, const VXOutbox &outbox, const VXOutboxRunner::Deliver &deliver)
{
    _runner = std::make_unique<VXOutboxRunner>(kind, outbox, deliver);
    _farewell.setSingleShot(true);
    QObject::connect(&_farewell, &QTimer::timeout, _runner.get(), [runner = _runner.get()] {
        QTimer::singleShot(resumption, runner, &VXOutboxRunner::resume);
        runner->giveUp();
    });
}

int VXOutboxSender::shouldUnload()
{
    if (!_runner || !_runner->isBusy())
        return VXUnloadNow;
    QObject::connect(
        _runner.get(), &VXOutboxRunner::didBecomeIdle, &_plugin,
        [this] {
            _farewell.stop();
            _plugin.replyToPluginShouldUnload(true);
        },
        Qt::SingleShotConnection);
    _farewell.start(longestFarewell);
    return VXUnloadLater;
}

void VXOutboxSender::stop()
{
    if (!_runner)
        return;
    _runner->stop();
    waitWhileBusy(_farewell.isActive() ? _farewell.remainingTimeAsDuration() : longestFarewell);
    _farewell.stop();
    _runner->giveUp();
    waitWhileBusy(longestGivingUp);
    _runner.reset();
}

void VXOutboxSender::waitWhileBusy(std::chrono::milliseconds longest)
{
    const QDeadlineTimer end(longest);
    QTimer wake;
    wake.start(100ms);
    while (_runner->isBusy() && !end.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}
