#pragma once

#include "VXReactionQueue.h"
#include "VXReactorPlugin.h"

/** A reactor that works on threads of its own. It is not unloaded before the work is done. */
class VXBackgroundReactor : public VXReactorPlugin
{
    Q_OBJECT

public:
    /** Asks for more time as long as there is work. */
    int pluginShouldUnload() override;
    /** Waits for the remaining work. */
    void pluginWillUnload() override;

protected:
    VXBackgroundReactor(size_t maximumThreads, size_t maximumWaiting) : _queue(maximumThreads, maximumWaiting) {}

    VXReactionQueue _queue;
};
