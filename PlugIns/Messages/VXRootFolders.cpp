#include "VXRootFolders.h"

#include "MessageDataConstants.h"
#include "VXErrorDomain.h"
#include "VXFileLock.h"
#include "VXFolderUnion.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds longestWait = 30s;

bool provide(const QString &name, int place, VXManagedObjectContext &context, VXError *error)
{
    const VXEntityDescription &entity = *context.persistentStoreCoordinator()->model().entityForName(u"VXRootFolder"_s);
    const std::optional<VXFetchRequest> request = VXFetchRequest::fromTemplate(entity, name, {}, error);
    const std::optional<VXFetchResult> found = request ? context.executeFetchRequest(*request, error) : std::nullopt;
    if (found && found->isEmpty()) {
        const VXManagedObjectPtr folder = context.insertNewObject(entity);
        folder->setValueForKey(name, u"root_name"_s);
        folder->setValueForKey(place, u"index"_s);
    }
    return found.has_value();
}

} // namespace

bool VXProvideRootFolders(VXManagedObjectContext &context, VXError *error)
{
    int place = 0;
    for (const QString &name : {VXInboxFolder, VXSentFolder, VXDraftsFolder, VXTrashFolder, VXUserRootFolder}) {
        if (!provide(name, place++, context, error))
            return false;
    }
    return VXUniteFolders(context, error);
}

bool VXSaveRootFolders(VXManagedObjectContext &context, const QString &lockPath, VXError *error)
{
    const VXFileLock lock(lockPath, longestWait);
    if (!lock.isHeld()) {
        VXSetError(error, VXMakeError(lock.isTimedOut() ? u"Another program has the folders of messages locked."_s
                                                        : lock.reason()));
        return false;
    }
    if (!VXProvideRootFolders(context, error))
        return false;
    if (!context.hasChanges())
        return true;
    const VXStoreWorkLock saving(*context.persistentStoreCoordinator(), VXStoreWorkLock::savingName);
    context.reset(); // what is to be united may have changed meanwhile
    return saving.isHeld(error) && VXProvideRootFolders(context, error) &&
           (!context.hasChanges() || context.save(error));
}
