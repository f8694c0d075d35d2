#include "VXBackgroundReactor.h"

#include "VXMainThread.h"

#include <QtCore/QPointer>

int VXBackgroundReactor::pluginShouldUnload()
{
    const bool isBusy = _queue.callWhenIdle([plugin = QPointer(this)] {
        VXMainThread::perform([plugin] {
            if (plugin)
                plugin->replyToPluginShouldUnload(true);
        });
    });
    return isBusy ? VXUnloadLater : VXUnloadNow;
}

void VXBackgroundReactor::pluginWillUnload()
{
    _queue.finish();
}
