#pragma once

#include "VXMutex.h"

/**
 * Lets workers on other threads in until it is closed; the closer waits until the last one has left. So what is removed
 * when a plugin unloads, such as the classes of its objects, exists as long as anybody works with it. Any thread.
 */
class VXWorkerGate
{
public:
    /** False once it is closed; otherwise the worker must leave when it is done. */
    [[nodiscard]] bool enter();
    void leave();
    /** Lets nobody in any more, and returns when nobody is inside. Main thread; its events are processed meanwhile,
     *  because a worker may wait for one. */
    void close();

private:
    bool isEmptySoon();

    VXMutex _lock;
    VXCondition _isLeft;
    int _inside VX_GUARDED_BY(_lock) = 0;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
