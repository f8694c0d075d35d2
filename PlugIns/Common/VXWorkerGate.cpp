#include "VXWorkerGate.h"

#include <QtCore/QCoreApplication>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds betweenLooks = 10ms; // at the events

} // namespace

bool VXWorkerGate::enter()
{
    const VXMutexLocker locker(_lock);
    _inside += _isClosed ? 0 : 1;
    return !_isClosed;
}

void VXWorkerGate::leave()
{
    const VXMutexLocker locker(_lock);
    --_inside;
    _isLeft.notifyAll();
}

void VXWorkerGate::close()
{
    {
        const VXMutexLocker locker(_lock);
        _isClosed = true;
    }
    while (!isEmptySoon())
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

bool VXWorkerGate::isEmptySoon()
{
    const VXMutexLocker locker(_lock);
    _isLeft.waitFor(_lock, betweenLooks, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return _inside == 0; });
    return _inside == 0;
}
