#include "VXManagedObjectContext.h"

#include "VXRowMerge.h"

#include <map>

using namespace Qt::StringLiterals;

using StorePtr = VXPersistentStoreCoordinator::StorePtr;

bool VXManagedObjectContext::assignPermanentIDs(const QList<ObjectPtr> &objects, QList<Renamed> *renamed,
                                                VXError *error)
{
    const StorePtr first = _coordinator->persistentStores().value(0);
    const auto placeOf = [&](const ObjectPtr &object) {
        VXPersistentStore *const store =
            _assignedStores.isEmpty() ? first.get() : _assignedStores.value(object.get(), first).get();
        return std::pair(store, &object->entity().rootEntity());
    };
    std::map<std::pair<VXPersistentStore *, const VXEntityDescription *>, qint64>
        numbers; // first how many, then the next
    for (const ObjectPtr &object : objects) {
        if (object->objectID().isTemporary())
            ++numbers[placeOf(object)];
    }
    for (auto &[place, number] : numbers) {
        const auto &[store, root] = place;
        if (store == nullptr) {
            VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::InvalidStore,
                                                 u"The objects cannot be saved."_s, u"There is no store."_s));
            return false;
        }
        const std::optional<qint64> next = store->reserveNumbers(*root, number, error);
        if (!next)
            return false;
        number = *next;
    }
    for (const ObjectPtr &object : objects) {
        if (!object->objectID().isTemporary())
            continue;
        const auto place = placeOf(object);
        renamed->append({object, object->objectID()});
        object->_objectID = ObjectID(object->entity(), place.first->identity(), numbers[place]++);
    }
    return true;
}

void VXManagedObjectContext::replaceReferences(const std::function<ObjectID(const ObjectID &)> &replacement)
{
    const auto replaceIn = [&](const ObjectPtr &object) {
        if (!object->_values)
            return;
        for (const Relationship *const relationship : object->entity().relationships()) {
            if (relationship->isToMany())
                continue;
            const ObjectID *const before = object->_values->target(relationship->index());
            if (before == nullptr)
                continue;
            const ObjectID now = replacement(*before);
            if (now.isNull())
                object->_values->clear(relationship->index());
            else if (now != *before)
                object->_values->setTarget(relationship->index(), now);
        }
    };
    _inserted.forEach(replaceIn);
    _updated.forEach(replaceIn);
}

void VXManagedObjectContext::replaceTemporaryReferences()
{
    replaceReferences([this](const ObjectID &objectID) {
        if (!objectID.isTemporary())
            return objectID;
        const VXManagedObject *const object = _objects.find(objectID);
        return object == nullptr ? ObjectID() : object->objectID(); // deleted before it was ever saved
    });
}

void VXManagedObjectContext::registerAgain(const QList<Renamed> &renamed)
{
    for (const Renamed &each : renamed) // one after the other: IDs that follow each other are found together
        _objects.remove(each.before);
    for (const Renamed &each : renamed)
        _objects.insert(each.object->objectID(), each.object.get());
}

bool VXManagedObjectContext::obtainPermanentIDs(const QList<VXManagedObjectPtr> &objects, VXError *error)
{
    QList<ObjectPtr> inserted;
    for (const ObjectPtr &object : objects) {
        if (object && object->_context == this && object->isInserted())
            inserted.append(object);
    }
    QList<Renamed> renamed;
    if (!assignPermanentIDs(inserted, &renamed, error))
        return false;
    replaceTemporaryReferences();
    registerAgain(renamed);
    return true;
}
