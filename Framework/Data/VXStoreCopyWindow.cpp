#include "VXStoreCopyWindow.h"

#include "VXApplication.h"
#include "VXCopyWatch.h"
#include "VXErrorDomain.h"
#include "VXGuard.h"
#include "VXMainThread.h"
#include "VXProgressWindow.h"

#include <QtCore/QDirIterator>
#include <QtCore/QTimer>

#include <memory>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr auto untilShown = std::chrono::milliseconds(100); // how often progress is looked at

qint64 sizeOf(const QString &folder)
{
    qint64 size = 0;
    for (QDirIterator each(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); each.hasNext();) {
        each.next();
        size += each.fileInfo().size();
    }
    return size;
}

} // namespace

bool VXCopyStoreInWindow(VXCoreDataStore &store, const QString &path, const QString &title, VXError *error)
{
    const std::shared_ptr<VXProgressWindow> window =
        VXApplication::sharedApplication().userInterface().makeProgressWindow(title);
    VXCopyWatch watch;
    VXError problem;
    bool isDone = false;
    std::thread copying;
    window->setCancelHandler([&] { watch.cancel(); }); // it closes when the copy has ended
    window->setMaxValue(double(std::max<qint64>(1, sizeOf(store.storePath()))));
    QTimer progress;
    progress.callOnTimeout([&] { window->setDoubleValue(double(watch.done())); });
    progress.start(untilShown);
    QTimer::singleShot(0, &progress, [&] {
        copying = std::thread([&, shown = std::weak_ptr(window)] {
            const VXCopyWatch::Scope scope(watch);
            VXGuard([] { return u"copying a store"_s; }, [&] { isDone = store.copyTo(path, &problem); });
            VXMainThread::perform([shown] {
                if (const auto open = shown.lock())
                    open->ok();
            });
        });
    });
    if (window->runModal() == VXProgressWindow::Result::Cancelled) // the application quits
        watch.cancel();
    if (copying.joinable())
        copying.join();
    if (isDone && !watch.isCancelled())
        return true;
    VXSetError(error, watch.isCancelled() ? VXError(VXErrorDomain, VXErrorCancelled) : problem);
    return false;
}
