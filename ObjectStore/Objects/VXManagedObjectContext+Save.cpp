#include "VXManagedObjectContextSave.h"

#include "VXRelatedSet.h"
#include "VXRowMerge.h"

#include <QtCore/QScopeGuard>

using namespace Qt::StringLiterals;

using StorePtr = VXPersistentStoreCoordinator::StorePtr;
namespace {

// A many-to-many link is known at both ends and saved from one.
bool isSavedFrom(const VXRelationshipDescription &relationship)
{
    const VXRelationshipDescription &inverse = *relationship.inverse();
    const auto name = [](const VXRelationshipDescription &each) {
        return std::pair(each.entity().name(), each.name());
    };
    return name(relationship) <= name(inverse);
}

// Hooks of other classes may give less than the documents promise, or nothing.
VXError validationError(const VXManagedObjectPtr &object, const VXError &problem)
{
    const VXError given =
        problem ? problem
                : VXObjectStoreError(VXObjectStoreErrorCode::Validation, u"The object cannot be saved."_s,
                                     u"The class of \"%1\" does not say why."_s.arg(object->entity().name()));
    QVariantMap userInfo = given.userInfo();
    if (given.domain() != VXCocoaErrorDomain || userInfo.contains(VXValidationObjectKey))
        return given;
    userInfo.insert(VXValidationObjectKey, QVariant::fromValue(object));
    return {VXCocoaErrorDomain, given.code(), userInfo};
}

} // namespace

bool VXManagedObjectContext::save(VXError *error)
{
    return Save(*this).run(error);
}

bool VXManagedObjectContext::Save::run(VXError *error)
{
    if (!takeChanges(error))
        return false;
    announce(VXManagedObjectContextWillSaveNotification);
    const bool isSaved = takeChanges(error) && build(error) && write(error); // observers may have changed more
    if (!isSaved)
        undo();
    if (isSaved || !_saved.isEmpty())
        finish();
    return isSaved;
}

// -- Preparing

// Includes objects that a hook changes. If a hook saves, that save calls the hooks of the others, but none twice.
void VXManagedObjectContext::Save::callWillSave()
{
    if (!_context._hasHooks)
        return;
    const bool isOuter = !std::exchange(_context._isAsking, true);
    const auto end = qScopeGuard([&] { _context._isAsking = !isOuter; });
    if (_number == 0)
        _number = isOuter ? ++_context._saveNumber : _context._saveNumber;
    for (quint64 before = _context._changeCount + 1; before != _context._changeCount;) {
        before = _context._changeCount;
        for (const VXChangedObjects *const changed : {&_context._inserted, &_context._updated, &_context._deleted}) {
            const QList<ObjectPtr> objects = changed->objects(); // a copy, as hooks may change the list
            for (const ObjectPtr &object : objects) {
                if (object->_context == &_context && std::exchange(object->_askedInSave, _number) != _number)
                    object->willSave(); // else one before it has deleted it
            }
        }
    }
}

// What has changed since they were last taken is asked before the save, and validated. Observers and hooks that validate may
// change the context themselves, or save it: then what is new is asked too, and all are validated again.
bool VXManagedObjectContext::Save::takeChanges(VXError *error)
{
    constexpr int mostRounds = 10;
    for (int round = 0; _taken != _context._changeCount; ++round) {
        if (round == mostRounds) {
            if (areTakenStill()) { // only values change each time, as a date does
                _taken = _context._changeCount;
                return true;
            }
            VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::Validation, u"The objects cannot be saved."_s,
                                                 u"Hooks or observers change the objects without end."_s));
            return false;
        }
        callWillSave();
        const quint64 asked = _context._changeCount;
        _context.processPendingChanges();
        if (const VXError lost = std::exchange(_context._lostChange, {})) {
            VXSetError(error, lost);
            return false;
        }
        if (_context._changeCount != asked)
            continue;
        _taken = asked;
        _inserted = _context._inserted.objects();
        _updated = _context._updated.objects();
        _deleted = _context._deleted.objects();
        if (!validate(error))
            return false;
    }
    return true;
}

bool VXManagedObjectContext::Save::areTakenStill() const
{
    return _inserted == _context._inserted.objects() && _updated == _context._updated.objects() &&
           _deleted == _context._deleted.objects();
}

bool VXManagedObjectContext::Save::validate(VXError *error) const
{
    QVariantList problems;
    const auto check = [&](const QList<ObjectPtr> &objects, auto validator) {
        for (const ObjectPtr &object : objects) {
            if (VXError problem; object->_context == &_context && !(object.get()->*validator)(&problem))
                problems.append(QVariant::fromValue(validationError(object, problem)));
        }
    };
    check(_inserted, &VXManagedObject::validateForInsert);
    check(_updated, &VXManagedObject::validateForUpdate);
    check(_deleted, &VXManagedObject::validateForDelete);
    if (problems.size() == 1) {
        VXSetError(error, problems.constFirst().value<VXError>());
    } else if (!problems.isEmpty()) {
        QVariantMap userInfo =
            VXObjectStoreError(VXObjectStoreErrorCode::MultipleValidation, u"The objects cannot be saved."_s,
                               u"%1 of them are not valid, the first for this: %2"_s.arg(problems.size())
                                   .arg(problems.constFirst().value<VXError>().localizedRecoverySuggestion()))
                .userInfo();
        userInfo.insert(VXDetailedErrorsKey, problems);
        VXSetError(error, {VXCocoaErrorDomain, int(VXObjectStoreErrorCode::MultipleValidation), userInfo});
    }
    return problems.isEmpty();
}

bool VXManagedObjectContext::Save::build(VXError *error)
{
    if (!_context.assignPermanentIDs(_inserted, &_renamed, error))
        return false;
    for (const ObjectPtr &object : std::as_const(_inserted)) {
        _context.replaceTemporaryReferences(*object);
        if (!addChange(*object, rowOf(*object), {}, error) || !addLinks(*object, error))
            return false;
    }
    for (const ObjectPtr &object : std::as_const(_updated)) {
        _context.replaceTemporaryReferences(*object);
        if (!addUpdated(*object, error) || !addLinks(*object, error))
            return false;
    }
    for (const ObjectPtr &object : std::as_const(_deleted)) {
        if (!addChange(*object, nullptr, {}, error) || !addLinks(*object, error))
            return false;
    }
    addMetadata();
    return true;
}

VXManagedObjectContext::Save::Part *VXManagedObjectContext::Save::partFor(const ObjectID &objectID, VXError *error)
{
    for (Part &part : _parts) {
        if (&part.store->identity() == objectID.store())
            return &part;
    }
    const StorePtr store = _context._coordinator->persistentStoreForIdentity(*objectID.store());
    if (store) {
        Part &made = _parts.emplace_back(Part{store, {}, {}});
        const qsizetype count = _inserted.size() + _updated.size() + _deleted.size(); // mostly all are of one store
        made.request.isSecuredLater = _context._securesLater;
        made.request.changes.reserve(count);
        made.objects.reserve(size_t(count));
        return &made;
    }
    VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::InvalidStore, u"The objects cannot be saved."_s,
                                         u"Their store is not attached any more."_s));
    return nullptr;
}

// The values to be saved, shared by the store and the object from then on.
VXStoreRow::Ptr VXManagedObjectContext::Save::rowOf(const VXManagedObject &object)
{
    if (object._values.use_count() == 1) // otherwise it is still shared with a store, after a failed save
        object._values->shrink();
    if (!VXHasTransientValues(object.entity(), *object._values))
        return object._values;
    auto row = object._values->copy(object._values->version());
    VXRemoveTransientValues(object.entity(), *row);
    return row;
}

bool VXManagedObjectContext::Save::addChange(VXManagedObject &object, VXStoreRow::Ptr row, const QList<int> &changed,
                                             VXError *error)
{
    Part *const part = partFor(object.objectID(), error);
    if (part == nullptr)
        return false;
    part->request.changes.append({object.objectID(), std::move(row), object._row, changed});
    part->objects.push_back(&object);
    return true;
}

bool VXManagedObjectContext::Save::addUpdated(VXManagedObject &object, VXError *error)
{
    // Mostly the same as of the object before: then they share the list.
    if (object._values && !VXAreChangedProperties(_changed, object.entity(), *object._row, *object._values))
        _changed = VXChangedProperties(object.entity(), *object._row, *object._values);
    if (object._values && !_changed.isEmpty())
        return addChange(object, rowOf(object), _changed, error);
    _unwritten.push_back(&object);
    return true;
}

bool VXManagedObjectContext::Save::addLinks(const VXManagedObject &object, VXError *error)
{
    if (!object._relatedSets)
        return true;
    for (const VXRelatedSet &set : *object._relatedSets) {
        const Relationship &relationship = set.relationship();
        if (!set.hasChanges() || relationship.isTransient() || !relationship.isManyToMany() ||
            !isSavedFrom(relationship))
            continue;
        // links are deleted with their object
        if (object.isDeleted() && relationship.deleteRule() != VXDeleteRule::Deny)
            continue;
        const bool isSymmetric = relationship.inverse() == &relationship;
        VXLinkChange change{object.objectID(), &relationship, {}, {}};
        const auto add = [&](const ObjectID &target, QList<ObjectID> *list) {
            const VXManagedObject *const known = _context._objects.find(target);
            // The object's links are deleted with it; but those that it must not have then are removed before.
            const bool isGoing = known != nullptr && known->isDeleted() &&
                                 (list == &change.added || relationship.inverse()->deleteRule() != VXDeleteRule::Deny);
            if (!isGoing && (!isSymmetric || change.source.number() <= target.number()))
                list->append(target);
        };
        const QList<ObjectPtr> added = set.added();
        for (const ObjectPtr &other : added) {
            if (other->_context != nullptr && !object.isDeleted()) // otherwise deleted before it was ever saved
                add(other->objectID(), &change.added);
        }
        const QList<ObjectID> removed = set.removed();
        for (const ObjectID &target : removed)
            add(target, &change.removed);
        if (change.added.isEmpty() && change.removed.isEmpty())
            continue;
        Part *const part = partFor(object.objectID(), error);
        if (part == nullptr)
            return false;
        part->request.links.append(change);
    }
    return true;
}

void VXManagedObjectContext::Save::addMetadata()
{
    for (const StorePtr &store : _context._coordinator->persistentStores()) {
        const std::optional<QVariantMap> metadata = store->unsavedMetadata();
        if (!metadata)
            continue;
        const auto isOfStore = [&](const Part &part) { return part.store == store; };
        const auto found = std::find_if(_parts.begin(), _parts.end(), isOfStore);
        Part &part = found == _parts.end() ? _parts.emplace_back(Part{store, {}, {}}) : *found;
        part.request.metadata = metadata;
    }
}

// -- Afterwards

// After a partial save, everything about stores that were saved is kept.
void VXManagedObjectContext::Save::undo()
{
    const auto isUnsaved = [this](const VXStoreIdentity *store) { return !_saved.contains(store); };
    std::erase_if(_parts,
                  [&](const Part &part) { return isUnsaved(&part.store->identity()); }); // they share objects' values
    for (QList<ObjectPtr> *const objects : {&_inserted, &_updated, &_deleted})
        objects->removeIf([&](const ObjectPtr &object) { return isUnsaved(object->objectID().store()); });
    std::erase_if(_yielding, [&](const Yielding &each) { return isUnsaved(each.object->objectID().store()); });
    std::erase_if(_unwritten, [&](const VXManagedObject *object) { return isUnsaved(object->objectID().store()); });
    for (QSet<ObjectID> *const objectIDs : {&_gone, &_refreshed})
        objectIDs->removeIf([&](const ObjectID &objectID) { return isUnsaved(objectID.store()); });
    QHash<ObjectID, ObjectID> before;
    for (const Renamed &each : std::exchange(_renamed, {})) {
        if (!isUnsaved(each.object->objectID().store())) {
            _renamed.append(each);
            continue;
        }
        before.insert(each.object->objectID(), each.before);
        each.object->_objectID = each.before;
    }
    if (!before.isEmpty())
        _context.restoreReferences(before);
}

void VXManagedObjectContext::Save::finish()
{
    _context.registerAgain(_renamed);
    forgetGone();
    _isWhole = _saved.isEmpty() && _taken == _context._changeCount;
    if (_isWhole) {
        for (VXChangedObjects *const changed : {&_context._inserted, &_context._updated, &_context._deleted})
            changed->clear();
        _context._assignedStores.clear();
        _context._deleteEffects.clear();
    }
    ++_context._changeCount; // a save around this one, whose hook or observer made it, has other changes from now on
    takeOverRows();
    refreshOthers();
    for (const ObjectPtr &object : std::as_const(_deleted))
        _context.forget(object);
    callDidSave();
    announce(VXManagedObjectContextDidSaveNotification);
}

void VXManagedObjectContext::Save::announce(const VXNotificationName &name) const
{
    if (VXNotificationCenter::defaultCenter().hasObservers(name))
        _context.post(
            name,
            {{VXInsertedObjectsKey, _inserted}, {VXUpdatedObjectsKey, _updated}, {VXDeletedObjectsKey, _deleted}});
}

void VXManagedObjectContext::Save::markSaved(VXManagedObject &object)
{
    if (VXChangedObjects *const changed = _context.objectsInState(object._state); changed != nullptr && !_isWhole) {
        changed->remove(object);
        _context._assignedStores.remove(&object);
        _context._deleteEffects.remove(&object);
    }
    object._state = State::Unchanged;
    object._isInsertionKnown = false;
    if (!object._relatedSets)
        return;
    for (VXRelatedSet &set : *object._relatedSets)
        set.commit();
}

// One that was written with other values than the object has, as a merge brings them.
void VXManagedObjectContext::Save::takeOver(VXManagedObject &object, const VXStoreRow::Ptr &row)
{
    const VXStoreRow::Ptr before = object._values ? VXStoreRow::Ptr(std::move(object._values)) : object._row;
    object.setStoredRow(row);
    _context.moveInRelated(object, before.get(), row.get());
    if (!VXHasTransientValues(object.entity(), *before))
        return;
    object._values = row->copy(row->version() + 1);
    VXCopyTransientValues(object.entity(), *before, *object._values);
}

// All that is to be done with an object and its change is done while they are at hand: there may be many.
void VXManagedObjectContext::Save::takeOverRows()
{
    std::vector<std::pair<VXManagedObject *, VXStoreRow::Ptr>>
        others; // once all are marked: sets of related ones follow
    for (Part &part : _parts) {
        auto change = part.request.changes.begin();
        for (VXManagedObject *const object : part.objects) {
            const VXRowChange written = std::move(*change++);
            if (object == nullptr)
                continue;
            markSaved(*object);
            if (written.row && object->_values == written.row)
                object->setStoredRow(std::move(object->_values));
            else if (written.row)
                others.emplace_back(object, written.row);
        }
    }
    for (VXManagedObject *const object : _unwritten)
        markSaved(*object);
    for (const auto &[object, row] : others)
        takeOver(*object, row);
    QSet<const VXManagedObject *> stay;
    QSet<const VXManagedObject *> gone;
    for (const Yielding &each : _yielding) {
        if (each.stored)
            takeOver(*each.object, each.stored);
        (each.stored ? stay : gone).insert(each.object);
    }
    for (const ObjectPtr &object : takeOut(stay, _deleted))
        _context.noteForObservers(*object);
    _deleted += takeOut(gone, _updated);
}

// Removes these objects from the list in a single pass, as they may be many.
QList<VXManagedObjectContext::ObjectPtr>
VXManagedObjectContext::Save::takeOut(const QSet<const VXManagedObject *> &objects, QList<ObjectPtr> &list)
{
    QList<ObjectPtr> taken;
    if (objects.isEmpty())
        return taken;
    list.removeIf([&](const ObjectPtr &object) {
        const bool isTaken = objects.contains(object.get());
        if (isTaken)
            taken.append(object);
        return isTaken;
    });
    return taken;
}

// Called before saved values are adopted: relationships then drop objects without a context.
void VXManagedObjectContext::Save::forgetGone()
{
    QList<ObjectPtr> found;
    QSet<const VXManagedObject *> unchanged;
    for (const ObjectID &objectID : std::as_const(_gone)) {
        if (const ObjectPtr object = _context.objectRegisteredForID(objectID)) {
            found.append(object);
            unchanged.insert(object.get());
        }
    }
    for (const ObjectPtr &object : takeOut(unchanged, _updated)) {
        unchanged.remove(object.get());
        _deleted.append(object);
    }
    for (const ObjectPtr &object : std::as_const(found)) {
        if (unchanged.contains(object.get()))
            _context.noteForObservers(*object);
        _context.forget(object);
    }
}

void VXManagedObjectContext::Save::refreshOthers()
{
    for (const ObjectID &objectID : std::as_const(_refreshed)) {
        const ObjectPtr object = _context.objectRegisteredForID(objectID);
        if (!object || object->hasChanges())
            continue;
        _context.noteRefreshed(*object);
        _context.turnIntoFault(*object);
    }
}

void VXManagedObjectContext::Save::callDidSave() const
{
    if (!_context._hasHooks)
        return;
    for (const QList<ObjectPtr> *const objects : {&_inserted, &_updated, &_deleted}) {
        for (const ObjectPtr &object : *objects)
            object->didSave();
    }
}
