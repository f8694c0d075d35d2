#include "VXMetaDataSync.h"

#include "VXMetaDataSource.h"

// What the sync hears of saves in this process.

namespace {

constexpr qsizetype mostNamed = 10000; // of more changed objects than that, all files are looked at

} // namespace

bool VXMetaDataSync::isOfThisStore(const VXNotification &notification) const
{
    const auto *const context = notification.object.value<VXManagedObjectContext *>();
    return context != nullptr && context->persistentStoreCoordinator() == _persistentStoreCoordinator;
}

// On the thread that saves.
void VXMetaDataSync::contextWillSaveNotification(const VXNotification &notification)
{
    if (!isOfThisStore(notification) || isIgnored())
        return;
    ++_ownSaves;
    const ObjectIDs toldAnew = objectsToldAnew(notification);
    markDebt(notification, toldAnew);
    const VXMutexLocker locker(_lock);
    _toldAnew[notification.object.value<VXManagedObjectContext *>()] = toldAnew;
}

VXMetaDataSync::ObjectIDs VXMetaDataSync::objectsToldAnew(const VXNotification &notification) const
{
    const VXEntityDescription *const entity = _persistentStoreCoordinator->model().entityForName(_entityName);
    ObjectIDs objectIDs;
    for (const QString &key : {VXInsertedObjectsKey, VXUpdatedObjectsKey, VXDeletedObjectsKey}) {
        for (const QVariant &element : notification.userInfo.value(key).toList()) {
            const auto object = element.value<VXManagedObjectPtr>();
            const auto *const part = dynamic_cast<const VXMetaDataPart *>(object.get());
            if (entity == nullptr || part == nullptr)
                continue;
            for (const VXManagedObjectID &objectID : part->objectsToldAnew()) {
                if (!objectID.isTemporary() && objectID.entity().isKindOfEntity(*entity))
                    objectIDs.insert(objectID);
            }
        }
    }
    return objectIDs;
}

// New objects have no files, and files of deleted ones are found to be orphans; but a changed object's date may stay
// the same, so changed objects are named.
void VXMetaDataSync::markDebt(const VXNotification &notification, const ObjectIDs &toldAnew)
{
    const VXEntityDescription *const entity = _persistentStoreCoordinator->model().entityForName(_entityName);
    bool isAny = !toldAnew.isEmpty();
    QList<qint64> changed;
    for (const VXManagedObjectID &objectID : toldAnew)
        changed.append(objectID.number());
    for (const QString &key : {VXInsertedObjectsKey, VXUpdatedObjectsKey, VXDeletedObjectsKey}) {
        for (const QVariant &element : notification.userInfo.value(key).toList()) {
            const auto object = element.value<VXManagedObjectPtr>();
            if (entity == nullptr || !object || !object->entity().isKindOfEntity(*entity))
                continue;
            isAny = true;
            if (key == VXUpdatedObjectsKey)
                changed.append(object->objectID().number());
        }
    }
    if (changed.size() > mostNamed)
        _debt.markAll();
    else if (isAny)
        _debt.mark(changed);
    VXMetaDataDebt::leaveWord();
}

void VXMetaDataSync::contextDidSaveNotification(const VXNotification &notification)
{
    if (!isOfThisStore(notification))
        return;
    setNeedsUpdate(true);
    if (isIgnored())
        return;
    ObjectIDs toldAnew;
    {
        const VXMutexLocker locker(_lock);
        toldAnew = _toldAnew.take(notification.object.value<VXManagedObjectContext *>());
    }
    if (!_debt.isMarked()) // a pass has taken the note over, and may have read the objects before the save
        markDebt(notification, toldAnew);
    noteSaved(notification, toldAnew);
}

void VXMetaDataSync::noteSaved(const VXNotification &notification, const ObjectIDs &toldAnew)
{
    const VXEntityDescription *const entity = _persistentStoreCoordinator->model().entityForName(_entityName);
    if (entity == nullptr)
        return;
    const auto noteOne = [&](const VXManagedObjectID &objectID, ObjectIDs SavedObjects::*ids) VX_REQUIRES(_lock) {
        if ((_saved.*ids).size() < _mostSaved)
            (_saved.*ids).insert(objectID);
        else
            _saved.isAll = false;
    };
    const auto note = [&](const QString &key, ObjectIDs SavedObjects::*ids) VX_REQUIRES(_lock) {
        for (const QVariant &element : notification.userInfo.value(key).toList()) {
            const auto object = element.value<VXManagedObjectPtr>();
            if (object && object->entity().isKindOfEntity(*entity))
                noteOne(object->objectID(), ids);
        }
    };
    const VXMutexLocker locker(_lock);
    note(VXInsertedObjectsKey, &SavedObjects::present);
    note(VXUpdatedObjectsKey, &SavedObjects::present);
    note(VXDeletedObjectsKey, &SavedObjects::deleted);
    for (const VXManagedObjectID &objectID : toldAnew)
        noteOne(objectID, &SavedObjects::present);
    if (_saved.isEmpty())
        return;
    ++_heardSaves;
    _changed.notifyAll();
}
