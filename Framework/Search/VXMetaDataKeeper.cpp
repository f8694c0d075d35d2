#include "VXMetaDataKeeper.h"

#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXMakeWay.h"

#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QString lockPath()
{
    return VXFileManager::defaultManager().pathToUserMetadataFolder() + "/.keeper.lock"_L1;
}

} // namespace

void VXMetaDataKeeper::begin()
{
    // Shared, as there may be several keepers. isElsewhere() takes the lock for a moment to find out.
    static const auto lock = [] {
        QString reason;
        static_cast<void>(VXMakeMetadataFolder(&reason) &&
                          VXMakeWayForFile(lockPath())); // else others make passes, too
        return std::make_unique<VXFileLock>(lockPath(), 1s, VXFileLock::Mode::Shared);
    }();
}

bool VXMetaDataKeeper::isElsewhere()
{
    return VXExistsAtPath(lockPath()) && VXFileLock(lockPath(), 0ms).isTimedOut();
}
