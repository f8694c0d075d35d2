#pragma once

#include "VXReactionQueue.h"
#include "VXReactorPlugin.h"

/** A reactor that does its work on threads of its own. It is not unloaded before that is done. */
class VXBackgroundReactor : public VXReactorPlugin
{
    Q_OBJECT

public:
    /** Asks for time while there is work. */
    int pluginShouldUnload() override;
    /** Waits for what is left. */
    void pluginWillUnload() override;

protected:
    VXBackgroundReactor(size_t maximumThreads, size_t maximumWaiting) : _queue(maximumThreads, maximumWaiting) {}

    VXReactionQueue _queue;
};
