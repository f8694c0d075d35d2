#include "VXStoreWorkLock.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

const QString VXStoreWorkLock::syncName = u"sync.lock"_s;
const QString VXStoreWorkLock::savingName = u"saving.lock"_s;

VXStoreWorkLock::VXStoreWorkLock(const VXPersistentStoreCoordinator &coordinator, const QString &name,
                                 std::chrono::milliseconds longestWait)
{
    const auto stores = coordinator.persistentStores(); // no store if it was detached meanwhile; the save reports that
    const QString path = stores.isEmpty() ? QString() : stores.constFirst()->path();
    if (path.isEmpty())
        return;
    const QString file = QFileInfo(path).path() + u'/' + name;
    const QDeadlineTimer end(longestWait);
    // Processes queue on a second lock first: otherwise one that takes the lock again and again would hardly ever leave
    // it to others.
    _lock = std::make_unique<VXFileLock>(file + ".turn"_L1, longestWait);
    if (!_lock->isTimedOut()) {
        const auto turn = std::move(_lock);
        _lock = std::make_unique<VXFileLock>(file, std::chrono::milliseconds(end.remainingTime()));
    }
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
