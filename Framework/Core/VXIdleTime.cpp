#include "VXIdleTime.h"

#include "VXMutex.h"

#include <utility>

namespace {

VXMutex lock;
VXIdleTime::Source source VX_GUARDED_BY(lock);

} // namespace

void VXIdleTime::setSource(Source given)
{
    const VXMutexLocker locker(lock);
    source = std::move(given);
}

// Asks the desktop without holding the lock.
std::optional<double> VXIdleTime::seconds()
{
    Source asked;
    {
        const VXMutexLocker locker(lock);
        asked = source;
    }
    return asked ? asked() : std::nullopt;
}
