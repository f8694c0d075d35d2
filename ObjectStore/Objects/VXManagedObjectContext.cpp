#include "VXManagedObjectContext.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXManagedObjectClass.h"
#include "VXObjectStoreError.h"
#include "VXRelatedSet.h"

using namespace Qt::StringLiterals;

using StorePtr = VXPersistentStoreCoordinator::StorePtr;
const VXNotificationName VXManagedObjectContextWillSaveNotification{u"VXManagedObjectContextWillSaveNotification"_s};
const VXNotificationName VXManagedObjectContextDidSaveNotification{u"VXManagedObjectContextDidSaveNotification"_s};
const VXNotificationName VXManagedObjectContextObjectsDidChangeNotification{
    u"VXManagedObjectContextObjectsDidChangeNotification"_s};
const QString VXInsertedObjectsKey = u"inserted"_s;
const QString VXUpdatedObjectsKey = u"updated"_s;
const QString VXDeletedObjectsKey = u"deleted"_s;
const QString VXRefreshedObjectsKey = u"refreshed"_s;

VXManagedObjectContext::VXManagedObjectContext(const VXPersistentStoreCoordinator::Ptr &coordinator)
    : _coordinator(coordinator)
{
    VXAssert(coordinator, u"a context needs a coordinator"_s);
}

VXManagedObjectContext::~VXManagedObjectContext()
{
    forgetAll();
}

// -- Objects in memory

VXManagedObject &VXManagedObjectContext::makeObject(const ObjectID &objectID)
{
    VXAssert(&objectID.entity().model() == &_coordinator->model(),
             u"entity \"%1\" is not of the coordinator's model"_s.arg(objectID.entity().name()));
    VXManagedObject *const object = VXManagedObjectClass::make(objectID.entity(), _coordinator->objectClasses());
    _hasHooks = _hasHooks || !objectID.entity().managedObjectClassName().isNull();
    object->_context = this;
    object->_objectID = objectID;
    _objects.insert(objectID, object);
    ++_madeObjectCount;
    return *object;
}

void VXManagedObjectContext::unregister(VXManagedObject &object)
{
    _objects.remove(object._objectID);
    if (std::exchange(object._isRefreshed, false))
        _refreshed.remove(&object);
}

void VXManagedObjectContext::forget(const ObjectPtr &object)
{
    setState(*object, State::Unchanged);
    _assignedStores.remove(object.get());
    unregister(*object);
    object->_context = nullptr;
    object->_relatedSets.reset();
}

void VXManagedObjectContext::forgetAll()
{
    ++_changeCount;
    _lostChange = {};
    QList<ObjectPtr> held; // until none leads to another any more
    if (_objects.size() > 0) {
        held.reserve(_objects.size());
        _objects.forEach([&held](VXManagedObject *object) { held.append(ObjectPtr(object)); });
        _objects.clear();
    }
    _keptRows.clear();
    _assignedStores.clear();
    for (const ObjectPtr &object : std::as_const(held)) {
        object->_context = nullptr;
        object->_state = State::Unchanged;
        object->_row.reset();
        object->_values.reset();
        object->_relatedSets.reset();
        object->_isFault = true;
        object->_isNoted = false;
        object->_isRefreshed = false;
    }
    for (VXChangedObjects *const changed : {&_inserted, &_updated, &_deleted})
        changed->clear();
    _deleteEffects.clear();
    _noted.clear();
    _refreshed.clear();
}

void VXManagedObjectContext::reset()
{
    forgetAll();
}

VXManagedObjectPtr VXManagedObjectContext::objectRegisteredForID(const VXManagedObjectID &objectID) const
{
    return VXManagedObjectPtr(_objects.find(objectID));
}

VXManagedObjectPtr VXManagedObjectContext::objectWithID(const VXManagedObjectID &objectID)
{
    if (objectID.isNull())
        return {};
    VXManagedObject *const found = _objects.find(objectID);
    return VXManagedObjectPtr(found != nullptr ? found : &makeObject(objectID));
}

QList<VXManagedObjectPtr> VXManagedObjectContext::objectsWithIDs(const QList<ObjectID> &objectIDs)
{
    QList<ObjectPtr> objects;
    objects.reserve(objectIDs.size());
    for (const ObjectID &objectID : objectIDs)
        objects.append(objectWithID(objectID));
    return objects;
}

VXManagedObjectPtr VXManagedObjectContext::existingObjectWithID(const VXManagedObjectID &objectID, VXError *error)
{
    VXManagedObjectPtr object = objectWithID(objectID);
    return object && (!object->isFault() || readFault(*object, error)) ? object : VXManagedObjectPtr();
}

// -- New objects

VXManagedObjectPtr VXManagedObjectContext::insertNewObject(const VXEntityDescription &entity, const StorePtr &store)
{
    VXAssert(!entity.isAbstract(), u"entity \"%1\" is abstract"_s.arg(entity.name()));
    VXManagedObjectPtr object(&makeObject(VXManagedObjectID::temporary(entity)));
    object->_values = VXStoreRow::make(int(entity.properties().size()), 1);
    for (const VXAttributeDescription *const attribute : entity.attributes()) {
        if (attribute->defaultValue().isValid())
            object->_values->setValue(attribute->index(), attribute->defaultValue());
    }
    object->_isFault = false;
    if (store)
        _assignedStores.insert(object.get(), store);
    setState(*object, State::Inserted);
    object->awakeFromInsert();
    return object;
}

VXManagedObjectPtr VXManagedObjectContext::insertNewObject(const QString &entityName)
{
    const VXEntityDescription *const entity = _coordinator->model().entityForName(entityName);
    VXAssert(entity != nullptr, u"the model has no entity \"%1\""_s.arg(entityName));
    return insertNewObject(*entity);
}

// -- Changes

VXChangedObjects *VXManagedObjectContext::objectsInState(State state)
{
    switch (state) {
    case State::Inserted:
        return &_inserted;
    case State::Updated:
        return &_updated;
    case State::Deleted:
        return &_deleted;
    case State::Unchanged:
        break;
    }
    return nullptr;
}

void VXManagedObjectContext::setState(VXManagedObject &object, State state)
{
    if (object._state == state)
        return;
    const ObjectPtr held(&object);
    if (VXChangedObjects *const before = objectsInState(object._state); before != nullptr)
        before->remove(object);
    if (object.isDeleted())
        _deleteEffects.remove(&object);
    object._state = state;
    ++_changeCount;
    if (VXChangedObjects *const now = objectsInState(state); now != nullptr)
        now->insert(held);
    noteForObservers(object);
}

void VXManagedObjectContext::noteChange(VXManagedObject &object)
{
    ++_changeCount;
    if (object._state == State::Unchanged)
        setState(object, State::Updated);
    else if (object._state != State::Deleted)
        noteForObservers(object);
}

void VXManagedObjectContext::noteLostChange(const VXManagedObject &object, const VXError &problem)
{
    const QString reason = u"%1 cannot be changed or deleted, as it cannot be read: %2"_s.arg(
        object.objectID().uriRepresentation().toString(), problem.description());
    VXReportDiagnostic(3, reason);
    ++_changeCount; // so that a save whose hook wanted it looks
    if (!_lostChange)
        _lostChange = {
            problem.domain(), problem.code(),
            VXObjectStoreError(VXObjectStoreErrorCode::FileRead, u"The objects cannot be saved."_s, reason).userInfo()};
}

bool VXManagedObjectContext::canReadToChange(const QList<ObjectPtr> &objects, const VXManagedObject &changed)
{
    VXError problem;
    if (fulfillFaults(objects, &problem))
        return true;
    noteLostChange(changed, problem);
    return false;
}

void VXManagedObjectContext::settle(VXManagedObject &object)
{
    if (object._state == State::Updated && !object._values && !object.hasRelationshipChanges())
        setState(object, State::Unchanged);
}

QList<VXManagedObjectPtr> VXManagedObjectContext::insertedObjects() const
{
    return _inserted.objects();
}

QList<VXManagedObjectPtr> VXManagedObjectContext::updatedObjects() const
{
    return _updated.objects();
}

QList<VXManagedObjectPtr> VXManagedObjectContext::deletedObjects() const
{
    return _deleted.objects();
}

QList<VXManagedObjectPtr> VXManagedObjectContext::changedObjects() const
{
    return _inserted.objects() + _updated.objects() + _deleted.objects();
}

void VXManagedObjectContext::rollback()
{
    _lostChange = {};
    for (const ObjectPtr &object : changedObjects()) {
        if (object->isInserted()) {
            noteForObservers(*object);
            forget(object);
            continue;
        }
        object->_values.reset();
        if (object->_relatedSets) {
            for (VXRelatedSet &set : *object->_relatedSets)
                set.revert();
        }
        setState(*object, State::Unchanged);
    }
    processPendingChanges();
}

// -- Observers

void VXManagedObjectContext::noteForObservers(VXManagedObject &object)
{
    if (std::exchange(object._isNoted, true))
        return;
    _noted.append(ObjectPtr(&object));
}

void VXManagedObjectContext::noteRefreshed(VXManagedObject &object)
{
    if (!std::exchange(object._isRefreshed, true))
        _refreshed.insert(&object);
}

void VXManagedObjectContext::processPendingChanges()
{
    const bool isHeard =
        VXNotificationCenter::defaultCenter().hasObservers(VXManagedObjectContextObjectsDidChangeNotification);
    QList<ObjectPtr> inserted;
    QList<ObjectPtr> updated;
    QList<ObjectPtr> deleted;
    QList<ObjectPtr> refreshed;
    const auto note = [isHeard](const ObjectPtr &object, QList<ObjectPtr> *list) {
        if (isHeard)
            list->append(object);
    };
    for (ObjectPtr &object : std::exchange(_noted, {})) {
        object->_isNoted = false;
        if (object->_context == nullptr || object->isDeleted()) {
            if (!object->objectID().isTemporary() || object->_isInsertionKnown)
                note(object, &deleted);
        } else if (object->isInserted() && !std::exchange(object->_isInsertionKnown, true)) {
            note(object, &inserted);
        } else {
            note(object, object->hasChanges() ? &updated : &refreshed);
        }
        if (std::exchange(object->_isRefreshed, false))
            _refreshed.remove(object.get());
        object = nullptr; // released early, as there may be many
    }
    for (VXManagedObject *const object : std::exchange(_refreshed, {})) {
        object->_isRefreshed = false;
        note(ObjectPtr(object), &refreshed);
    }
    post(VXManagedObjectContextObjectsDidChangeNotification, {{VXInsertedObjectsKey, inserted},
                                                              {VXUpdatedObjectsKey, updated},
                                                              {VXDeletedObjectsKey, deleted},
                                                              {VXRefreshedObjectsKey, refreshed}});
}

// Leaves out empty lists.
void VXManagedObjectContext::post(VXNotificationName name, const QMap<QString, QList<ObjectPtr>> &lists)
{
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    if (!center.hasObservers(name))
        return;
    QVariantMap userInfo;
    for (auto list = lists.cbegin(); list != lists.cend(); ++list) {
        if (!list->isEmpty())
            userInfo.insert(list.key(), VXManagedObject::variants(*list));
    }
    if (!userInfo.isEmpty())
        center.postNotificationName(name, QVariant::fromValue(this), userInfo);
}
