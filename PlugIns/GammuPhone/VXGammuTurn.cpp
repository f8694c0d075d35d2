#include "VXGammuTurn.h"

namespace {

struct Library
{
    VXMutex lock;
    VXCondition changed;
    bool isBusy VX_GUARDED_BY(lock) = false;
};

Library &library()
{
    static auto *const shared = new Library; // never freed: threads may outlive static objects
    return *shared;
}

} // namespace

VXGammuTurn::VXGammuTurn(const std::function<bool()> &isGivenUp)
{
    Library &shared = library();
    const VXMutexLocker locker(shared.lock);
    shared.changed.wait(shared.lock, [&]() VX_NO_THREAD_SAFETY_ANALYSIS { return !shared.isBusy || isGivenUp(); });
    if (!isGivenUp())
        _isTaken = shared.isBusy = true;
}

VXGammuTurn::~VXGammuTurn()
{
    if (!_isTaken)
        return;
    Library &shared = library();
    const VXMutexLocker locker(shared.lock);
    shared.isBusy = false;
    shared.changed.notifyAll();
}

void VXGammuTurn::wake()
{
    Library &shared = library();
    const VXMutexLocker locker(shared.lock);
    shared.changed.notifyAll();
}
