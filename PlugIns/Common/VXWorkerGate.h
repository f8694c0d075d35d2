#pragma once

#include "VXMutex.h"

/**
 * Lets workers on other threads in until it is closed; who closes it waits until the last one is out. So what is taken away when
 * a plugin unloads, as the classes of its objects, is there for as long as anybody works with it. Any thread.
 */
class VXWorkerGate
{
public:
    /** False once it is closed; else the worker has to leave when it is done. */
    [[nodiscard]] bool enter();
    void leave();
    /** Lets nobody in any more, and returns when nobody is inside. Main thread, whose events are looked after meanwhile: a worker may
     *  wait for one. */
    void close();

private:
    bool isEmptySoon();

    VXMutex _lock;
    VXCondition _isLeft;
    int _inside VX_GUARDED_BY(_lock) = 0;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
