#include "VXStoreWorkLock.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"

#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

const QString VXStoreWorkLock::syncName = u"sync.lock"_s;
const QString VXStoreWorkLock::savingName = u"saving.lock"_s;

VXStoreWorkLock::VXStoreWorkLock(const VXPersistentStoreCoordinator &coordinator, const QString &name,
                                 std::chrono::milliseconds longestWait)
{
    const QString path = coordinator.persistentStores().constFirst()->path();
    if (!path.isEmpty())
        _lock = std::make_unique<VXFileLock>(QFileInfo(path).path() + u'/' + name, longestWait);
}

bool VXStoreWorkLock::isHeld(VXError *error) const
{
    if (!_lock || _lock->isHeld())
        return true;
    VXSetError(error,
               VXMakeError(_lock->isTimedOut()
                               ? VXLocalizedString(u"Another program is importing, merging or syncing the same."_s)
                               : _lock->reason()));
    return false;
}
