#include "VXManagedObjectContext.h"

#include "VXRowMerge.h"

#include <map>

using namespace Qt::StringLiterals;

using StorePtr = VXPersistentStoreCoordinator::StorePtr;

bool VXManagedObjectContext::assignPermanentIDs(const QList<ObjectPtr> &objects, QList<Renamed> *renamed,
                                                VXError *error)
{
    using Place = std::pair<VXPersistentStore *, const VXEntityDescription *>;
    const StorePtr first = _coordinator->persistentStores().value(0);
    const auto placeOf = [&](const ObjectPtr &object) {
        VXPersistentStore *const store =
            _assignedStores.isEmpty() ? first.get() : _assignedStores.value(object.get(), first).get();
        return Place(store, &object->entity().rootEntity());
    };
    std::map<Place, qint64> numbers; // first the count, then the next number
    std::pair<const Place, qint64> *last = nullptr;
    const auto numberFor = [&](const ObjectPtr &object) -> std::pair<const Place, qint64> & {
        if (const Place place = placeOf(object); last == nullptr || last->first != place)
            last = &*numbers.try_emplace(place, 0).first;
        return *last;
    };
    for (const ObjectPtr &object : objects) {
        if (object->objectID().isTemporary())
            ++numberFor(object).second;
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
    renamed->reserve(renamed->size() + objects.size());
    for (const ObjectPtr &object : objects) {
        if (!object->objectID().isTemporary())
            continue;
        auto &[place, number] = numberFor(object);
        renamed->append({object, object->objectID()});
        object->_objectID = ObjectID(object->entity(), place.first->identity(), number++);
    }
    return true;
}

template <class Replacement>
void VXManagedObjectContext::replaceReferences(VXManagedObject &object, const Replacement &replacement)
{
    if (!object._values || object._values->sharesTexts()) // then it leads where it does as stored, or nowhere
        return;
    for (const Relationship *const relationship : object.entity().relationships()) {
        if (relationship->isToMany())
            continue;
        const ObjectID *const before = object._values->target(relationship->index());
        if (before == nullptr ||
            (object._row && object._row->target(relationship->index()) == before)) // as it is stored
            continue;
        const ObjectID now = replacement(*before);
        if (now.isNull())
            object._values->clear(relationship->index());
        else if (now != *before)
            object._values->setTarget(relationship->index(), now);
    }
}

void VXManagedObjectContext::replaceTemporaryReferences(VXManagedObject &object) const
{
    replaceReferences(object, [this](const ObjectID &objectID) {
        if (!objectID.isTemporary())
            return objectID;
        const VXManagedObject *const found = _objects.find(objectID);
        return found == nullptr ? ObjectID() : found->objectID(); // deleted before it was ever saved
    });
}

void VXManagedObjectContext::restoreReferences(const QHash<ObjectID, ObjectID> &before) const
{
    const auto restoreIn = [&](const ObjectPtr &object) {
        replaceReferences(*object, [&](const ObjectID &objectID) { return before.value(objectID, objectID); });
    };
    _inserted.forEach(restoreIn);
    _updated.forEach(restoreIn);
}

void VXManagedObjectContext::registerAgain(const QList<Renamed> &renamed)
{
    for (const Renamed &each : renamed) // one by one: removals of successive IDs share look-ups
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
    const auto replaceIn = [this](const ObjectPtr &object) { replaceTemporaryReferences(*object); };
    _inserted.forEach(replaceIn);
    _updated.forEach(replaceIn);
    registerAgain(renamed);
    return true;
}
