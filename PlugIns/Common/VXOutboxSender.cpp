#include "VXOutboxSender.h"

#include "VXMainThread.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

using namespace std::chrono_literals;

namespace {

// Commands that end sooner do not take up what was left by others.
constexpr std::chrono::milliseconds firstRun = 2s;

} // namespace

void VXOutboxSender::start(const QString &kind, const VXOutbox &outbox, const VXOutboxRunner::Deliver &deliver)
{
    _runner = std::make_unique<VXOutboxRunner>(kind, outbox, deliver);
    const QPointer<VXOutboxRunner> runner(_runner.get());
    VXNotificationCenter::defaultCenter().addObserver(_runner.get(), VXOutboxDidChangeNotification,
                                                      [runner](const VXNotification &) {
                                                          VXMainThread::perform([runner] {
                                                              if (runner)
                                                                  runner->run();
                                                          });
                                                      });
    QTimer::singleShot(firstRun, _runner.get(), &VXOutboxRunner::run);
}

int VXOutboxSender::shouldUnload()
{
    if (!_runner || !_runner->isBusy())
        return VXUnloadNow;
    QObject::connect(
        _runner.get(), &VXOutboxRunner::didBecomeIdle, &_plugin, [this] { _plugin.replyToPluginShouldUnload(true); },
        Qt::SingleShotConnection);
    return VXUnloadLater;
}

void VXOutboxSender::stop()
{
    if (!_runner)
        return;
    VXNotificationCenter::defaultCenter().removeObserver(_runner.get());
    _runner->stop();
    while (_runner->isBusy())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    _runner.reset();
}
