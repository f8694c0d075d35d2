#include "MessageDataConstants.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMessageStore.h"
#include "VXSmartFilter.h"
#include "VXStoreWorkLock.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Folder = VXManagedObjectPtr;

namespace {

constexpr qsizetype portion = 500; // messages per save

const QString nameKey = u"name"_s;
const QString parentKey = u"parent"_s;
const QString smartEntity = u"VXSmartDeviceFolder"_s;

bool isNamed(const Folder &folder)
{
    return !folder->valueForKey(nameKey).toString().isEmpty();
}

// Whether the user made the folder; named smart folders count, too.
bool isOfUser(const Folder &folder)
{
    const QString entity = folder->entity().name();
    return entity == "VXUserFolder"_L1 || (entity == smartEntity && isNamed(folder));
}

Folder insertNamed(const QString &entity, const QString &name, VXManagedObjectContext &context)
{
    const Folder folder = context.insertNewObject(entity);
    folder->setValueForKey(name.simplified(), nameKey);
    folder->setValueForKey(QVariant::fromValue(VXFetchRootFolder(VXUserRootFolder, &context)), parentKey);
    return folder;
}

QList<VXManagedObjectPtr> relatedTo(const Folder &folder, const QString &key)
{
    return folder->relatedObjects(folder->entity().propertyForName(key)->index());
}

bool waitsForRemoval(const VXManagedObjectPtr &message)
{
    return message->valueForKey(u"pending"_s).toInt() == static_cast<int>(VXPendingChange::Remove);
}

} // namespace

// -- Folders

bool VXMessageStore::isFreeName(const QString &name, VXManagedObjectContext &context, VXError *error) const
{
    const QString plain = name.simplified();
    const bool isTaken = !plain.isEmpty() && folderForText(plain, context);
    if (plain.isEmpty())
        VXSetError(error, VXMakeError(VXLocalizedString(u"A folder needs a name."_s)));
    else if (isTaken)
        VXSetError(error, VXMakeError(VXLocalizedString(u"There is a folder \"%1\" already."_s).arg(plain)));
    return !plain.isEmpty() && !isTaken;
}

VXManagedObjectPtr VXMessageStore::insertFolder(const QString &name, VXManagedObjectContext &context,
                                                VXError *error) const
{
    return isFreeName(name, context, error) ? insertNamed(u"VXUserFolder"_s, name, context) : Folder();
}

VXManagedObjectPtr VXMessageStore::insertSmartFolder(const QString &name, const VXManagedObjectPtr &deviceFolder,
                                                     const VXPredicate &condition, VXError *error) const
{
    VXManagedObjectContext &context = *deviceFolder->managedObjectContext();
    if (!isFreeName(name, context, error))
        return {};
    const Folder smart = insertNamed(smartEntity, name, context);
    smart->setValueForKey(QVariant::fromValue(deviceFolder), u"deviceFolder"_s);
    setFilter(smart, condition);
    return smart;
}

void VXMessageStore::setFilter(const VXManagedObjectPtr &smartFolder, const VXPredicate &condition)
{
    const VXManagedObjectPtr filter = smartFolder->managedObjectContext()->insertNewObject(u"VXFolderFilter"_s);
    if (auto *const conditions = dynamic_cast<VXSmartFilter *>(filter.get()))
        conditions->setPredicate(condition);
    smartFolder->setValueForKey(QVariant::fromValue(filter), u"filter"_s);
}

bool VXMessageStore::renameFolder(const VXManagedObjectPtr &folder, const QString &name, VXError *error) const
{
    if (!isOfUser(folder)) {
        VXSetError(error,
                   VXMakeError(VXLocalizedString(u"The folder \"%1\" keeps its name."_s).arg(folderTitle(folder))));
        return false;
    }
    const bool isItsOwn = folderTitle(folder).compare(name.simplified(), Qt::CaseInsensitive) == 0;
    if (!isItsOwn && !isFreeName(name, *folder->managedObjectContext(), error))
        return false;
    folder->setValueForKey(name.simplified(), nameKey);
    return true;
}

bool VXMessageStore::removeFolder(const VXManagedObjectPtr &folder, VXError *error) const
{
    if (!isOfUser(folder) && folder->entity().name() != "VXDeviceFolder"_L1) {
        VXSetError(error, VXMakeError(VXLocalizedString(u"The folder \"%1\" stays."_s).arg(folderTitle(folder))));
        return false;
    }
    VXManagedObjectContext &context = *folder->managedObjectContext();
    const Folder trash = VXFetchRootFolder(VXTrashFolder, &context);
    for (const VXManagedObjectPtr &message : relatedTo(folder, u"messages"_s)) {
        if (!waitsForRemoval(message)) // otherwise its copy is elsewhere
            VXMoveMessageToFolder(message, trash, false);
    }
    for (const Folder &child : relatedTo(folder, u"children"_s))
        child->setValueForKey(folder->valueForKey(parentKey), parentKey);
    context.deleteObject(folder); // deletes what was copied off its phone as well
    return true;
}

// -- Messages

void VXMessageStore::deleteMessage(const VXManagedObjectPtr &message)
{
    const bool isOnPhone = !message->valueForKey(u"url"_s).toString().isNull();
    if (isOnPhone) // the phone would bring it back
        message->setValueForKey(static_cast<int>(VXPendingChange::Remove), u"pending"_s);
    else
        message->managedObjectContext()->deleteObject(message);
}

std::optional<qsizetype> VXMessageStore::emptyTrash(VXError *error) const
{
    for (qsizetype count = 0;;) {
        const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
        if (!saving.isHeld(error))
            return std::nullopt;
        VXManagedObjectContext context(_coordinator);
        VXFetchRequest request(*_coordinator->model().entityForName(entityName));
        request.predicate = *VXPredicate::predicateWithFormat(
            u"folder == %@"_s, {QVariant::fromValue(VXFetchRootFolder(VXTrashFolder, &context))});
        request.limit = portion;
        const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
        if (!found)
            return std::nullopt;
        for (const VXManagedObjectPtr &message : *found)
            context.deleteObject(message);
        count += found->size();
        if (found->isEmpty())
            return count;
        if (!context.save(error))
            return std::nullopt;
    }
}
