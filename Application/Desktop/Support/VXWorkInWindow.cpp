#include "VXWorkInWindow.h"

#include "VXApplication.h"
#include "VXGuard.h"
#include "VXMainThread.h"

#include <QtCore/QTimer>

#include <memory>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds betweenLooks{100};

} // namespace

void VXWorkInWindow(const QString &title, qsizetype total, VXWindowStop stop,
                    const std::function<void(VXWindowWork &)> &work)
{
    const std::shared_ptr<VXProgressWindow> window =
        VXApplication::sharedApplication().userInterface().makeProgressWindow(title);
    VXWindowWork state;
    const auto stopWork = [&] { state.isStopped = stop == VXWindowStop::Allowed; };
    window->setCancelHandler(stopWork); // it closes when the work has ended
    window->setMaxValue(double(total));
    QTimer progress;
    progress.callOnTimeout([&] { window->setDoubleValue(double(state.done)); });
    progress.start(betweenLooks);
    std::thread working;
    QTimer::singleShot(0, &progress, [&] {
        working = std::thread([&, shown = std::weak_ptr(window)] {
            VXGuard([title] { return title; }, [&] { work(state); });
            VXMainThread::perform([shown] {
                if (const auto open = shown.lock())
                    open->ok();
            });
        });
    });
    if (window->runModal() == VXProgressWindow::Result::Cancelled) // the application quits
        stopWork();
    if (working.joinable())
        working.join();
}
