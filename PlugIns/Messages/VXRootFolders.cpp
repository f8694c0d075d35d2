#include "VXRootFolders.h"

#include "MessageDataConstants.h"
#include "VXErrorDomain.h"
#include "VXFileLock.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds longestWait = 30s;

// What lies in the folder goes to the other.
void empty(const VXManagedObjectPtr &folder, const VXManagedObjectPtr &other)
{
    for (const QString &key : {u"messages"_s, u"children"_s}) {
        const int index = folder->entity().propertyForName(key)->index();
        for (const VXManagedObjectPtr &each : folder->relatedObjects(index))
            other->addRelated(index, each);
    }
}

bool provide(const QString &name, int place, VXManagedObjectContext &context, VXError *error)
{
    const VXEntityDescription &entity = *context.persistentStoreCoordinator()->model().entityForName(u"VXRootFolder"_s);
    const std::optional<VXFetchRequest> request = VXFetchRequest::fromTemplate(entity, name, {}, error);
    const std::optional<VXFetchResult> found = request ? context.executeFetchRequest(*request, error) : std::nullopt;
    if (!found)
        return false;
    if (found->isEmpty()) {
        const VXManagedObjectPtr folder = context.insertNewObject(entity);
        folder->setValueForKey(name, u"root_name"_s);
        folder->setValueForKey(place, u"index"_s);
    }
    for (qsizetype index = 1; index < found->size(); ++index) {
        empty(found->at(index), found->first());
        context.deleteObject(found->at(index));
    }
    return true;
}

} // namespace

bool VXProvideRootFolders(VXManagedObjectContext &context, VXError *error)
{
    int place = 0;
    for (const QString &name : {VXInboxFolder, VXSentFolder, VXDraftsFolder, VXTrashFolder, VXUserRootFolder}) {
        if (!provide(name, place++, context, error))
            return false;
    }
    return true;
}

bool VXSaveRootFolders(VXManagedObjectContext &context, const QString &lockPath, VXError *error)
{
    const VXFileLock lock(lockPath, longestWait);
    if (!lock.isHeld()) {
        VXSetError(error, VXMakeError(lock.isTimedOut() ? u"Another program has the folders of messages locked."_s
                                                        : lock.reason()));
        return false;
    }
    return VXProvideRootFolders(context, error) && (!context.hasChanges() || context.save(error));
}
