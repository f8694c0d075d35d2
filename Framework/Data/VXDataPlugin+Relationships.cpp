#include "VXDataPlugin.h"

#include "VXMethodLog.h"
#include "VXMigrationWalk.h"

#include <algorithm>
#include <iterator>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr const char *relationshipOperation = "migrateObjectRelationship:oldObject:version:withNewObjects:error:";

void noteNotFound(const VXManagedObjectPtr &oldObject, const QString &relationship, qsizetype count)
{
    if (VXStoreMigration *const run = VXStoreMigration::current())
        run->entity(oldObject->entity().name()).notFound[relationship] += count;
}

using Members = QHash<QString, QList<VXManagedObjectID>>; // by relationship

// By source object: the members of many-to-many relationships that no longer exist. Objects are read without these.
std::optional<QHash<VXManagedObjectID, Members>> missingMembers(const VXEntityDescription &entity,
                                                                const VXManagedObjectContext &context, VXError *error)
{
    QHash<VXManagedObjectID, Members> missing;
    for (const VXRelationshipDescription *const relationship : entity.relationships()) {
        if (relationship->isTransient() || !relationship->isManyToMany())
            continue;
        for (const auto &store : context.persistentStoreCoordinator()->persistentStores()) {
            QList<VXBrokenReference> found;
            if (!store->findMissingTargets(*relationship, &found, error))
                return std::nullopt;
            for (const VXBrokenReference &each : std::as_const(found))
                missing[each.source][relationship->name()].append(each.target);
        }
    }
    return missing;
}

const VXRelationshipDescription *asRelationship(const VXPropertyDescription *property)
{
    return property == nullptr ? nullptr : property->asRelationship();
}

const VXRelationshipDescription *relationshipOf(const VXManagedObjectPtr &object, const QString &name)
{
    return object ? object->entity().relationshipForName(name) : nullptr;
}

// False where the inverse is to-one and already leads to another object, from which it must not be taken.
bool hasRoomFor(const VXRelationshipDescription &made, const VXManagedObjectPtr &target,
                const VXManagedObjectPtr &source)
{
    const VXManagedObjectPtr taken = target->related(made.inverse()->index());
    return !taken || taken == source;
}

// Whether the inverse is to-one now and was not before, so that there may be no room for all sources.
bool canLackRoom(const VXRelationshipDescription &old, const VXRelationshipDescription &made)
{
    const bool wasOneOfSeveral = old.inverse() == nullptr || old.inverse()->isToMany() || !made.isToMany();
    return wasOneOfSeveral && made.inverse() != nullptr && !made.inverse()->isToMany();
}

// Sets a to-one relationship if nothing is in the way. False if a closer look is needed.
bool isConnected(const VXManagedObject &oldObject, const VXRelationshipDescription &old, VXManagedObject &newObject,
                 const VXRelationshipDescription &made, const VXMigratedObjects &newObjects)
{
    if (old.isToMany() || made.isToMany() || canLackRoom(old, made))
        return false;
    const VXManagedObjectID *const oldID = oldObject.relatedID(old.index());
    if (oldID == nullptr)
        return true;
    const VXManagedObjectPtr target = VXMigratedTarget(*oldID, newObjects, &made);
    if (target)
        newObject.setRelated(made.index(), target);
    return bool(target);
}

// The new objects for the members of an old one's relationship, as a text of their names.
QString textOfMembers(const QList<VXManagedObjectID> &oldIDs, const VXMigratedObjects &newObjects,
                      const VXRelationshipDescription *made)
{
    QStringList oldNames;
    QStringList newNames;
    for (const VXManagedObjectID &objectID : oldIDs) {
        const VXManagedObjectPtr object = VXMigratedTarget(objectID, newObjects, made);
        oldNames.append(VXMigrationName(objectID));
        newNames.append(object ? VXMigrationName(object->objectID()) : u"<null>"_s);
    }
    return u":\n(%1)\n(%2)"_s.arg(oldNames.join(", "_L1), newNames.join(", "_L1));
}

// An object that stands for several old ones leads to what any of them led to; an object that was in the store before
// keeps what it leads to.
QList<VXManagedObjectPtr> withMembersOfOthers(const VXManagedObject &newObject, const VXRelationshipDescription &made,
                                              const QList<VXManagedObjectPtr> &related)
{
    const VXStoreMigration *const run = VXStoreMigration::current();
    const bool wasThere = newObject.objectID().store() != nullptr; // new objects have temporary IDs
    if (run == nullptr || (!wasThere && !run->standsForSeveral(newObject)))
        return related;
    QList<VXManagedObjectPtr> members = newObject.relatedObjects(made.index());
    QSet<const VXManagedObject *> known;
    for (const VXManagedObjectPtr &each : std::as_const(members))
        known.insert(each.get());
    std::ranges::copy_if(related, std::back_inserter(members),
                         [&](const VXManagedObjectPtr &each) { return !known.contains(each.get()); });
    return members;
}

} // namespace

VXManagedObjectPtr VXDataPlugin::migrateObjectRelationship(const QString &relationship,
                                                           const VXManagedObjectPtr &oldObject, int,
                                                           const VXMigratedObjects &newObjects, VXError *)
{
    VXManagedObjectPtr newObject = newObjects.value(oldObject->objectID());
    const VXPropertyPair pair = newObject ? VXMigrationProperties(relationship, *oldObject, *newObject)
                                          : VXPropertyPair{oldObject->entity().propertyForName(relationship)};
    const VXRelationshipDescription *const old = asRelationship(pair.old);
    const VXRelationshipDescription *const made = asRelationship(pair.made);
    if (old == nullptr || old->isTransient() ||
        (made != nullptr && isConnected(*oldObject, *old, *newObject, *made, newObjects)))
        return newObject;
    const QList<VXManagedObjectID> oldIDs = oldObject->relatedIDs(old->index());
    if (oldIDs.isEmpty())
        return newObject;
    if (made == nullptr) {
        if (newObject)
            VXNoteDroppedProperty(*oldObject, relationship);
        return newObject;
    }
    QList<VXManagedObjectPtr> related;
    for (const VXManagedObjectID &objectID : oldIDs) {
        if (VXManagedObjectPtr object = VXMigratedTarget(objectID, newObjects, made))
            related.append(std::move(object));
    }
    const qsizetype found = related.size();
    if (found < oldIDs.size()) {
        noteNotFound(oldObject, relationship, oldIDs.size() - found);
        QString text = u"Unable to retrieve relationship %1 for object %2"_s.arg(
            relationship, VXMigrationName(oldObject->objectID()));
        if (old->isToMany())
            text += textOfMembers(oldIDs, newObjects, made);
        VXLogMethod(VXLogWarning, relationshipOperation, text);
    }
    if (canLackRoom(*old, *made))
        related.removeIf([&](const VXManagedObjectPtr &target) { return !hasRoomFor(*made, target, newObject); });
    if (!made->isToMany() && related.size() > 1)
        related.resize(1);
    if (related.size() < found)
        tellOfNoRoom(oldObject, *old, found, found - related.size());
    if (made->isToMany())
        newObject->setRelatedObjects(made->index(), withMembersOfOthers(*newObject, *made, related));
    else if (!related.isEmpty())
        newObject->setRelated(made->index(), related.constFirst());
    return newObject;
}

void VXDataPlugin::tellOfNoRoom(const VXManagedObjectPtr &oldObject, const VXRelationshipDescription &old,
                                qsizetype found, qsizetype leftOut) const
{
    noteNotFound(oldObject, old.name(), leftOut);
    if (VXStoreMigration *const run = VXStoreMigration::current())
        run->noteWithoutRoom(old, leftOut);
    VXLogMethod(VXLogWarning, relationshipOperation,
                u"There is no room for %1 of %2 objects in relationship %3 for object %4"_s.arg(leftOut).arg(found).arg(
                    old.name(), VXMigrationName(oldObject->objectID())));
}

void VXDataPlugin::tellOfMissingMembers(const VXManagedObjectPtr &oldObject, const QString &relationship,
                                        const QList<VXManagedObjectID> &missing,
                                        const VXMigratedObjects &newObjects) const
{
    noteNotFound(oldObject, relationship, missing.size());
    const int index = oldObject->entity().relationshipForName(relationship)->index();
    VXLogMethod(VXLogWarning, relationshipOperation,
                u"Unable to retrieve relationship %1 for object %2"_s.arg(relationship,
                                                                          VXMigrationName(oldObject->objectID())) +
                    textOfMembers(oldObject->relatedIDs(index) + missing, newObjects,
                                  relationshipOf(newObjects.value(oldObject->objectID()), relationship)));
}

bool VXDataPlugin::migrateEntityRelationships(const VXEntityDescription &entity, VXManagedObjectContext &oldContext,
                                              int version, VXManagedObjectContext &,
                                              const VXMigratedObjects &newObjects, VXError *error)
{
    const QList<const VXRelationshipDescription *> &relationships = entity.relationships();
    const std::optional<qsizetype> count = oldContext.countForFetchRequest(VXFetchRequest(entity), error);
    if (!count)
        return false;
    // To-many relationships are read for a whole batch at once.
    const auto read = [&](const QList<VXManagedObjectPtr> &oldObjects) {
        return std::ranges::all_of(relationships, [&](const VXRelationshipDescription *relationship) {
            return relationship->isTransient() || !relationship->isToMany() ||
                   oldContext.readRelated(oldObjects, *relationship, error);
        });
    };
    const auto missing = missingMembers(entity, oldContext, error);
    if (!missing)
        return false;
    const auto migrate = [&](const VXManagedObjectPtr &oldObject) {
        const Members gone = missing->value(oldObject->objectID());
        for (auto each = gone.cbegin(); each != gone.cend(); ++each)
            tellOfMissingMembers(oldObject, each.key(), *each, newObjects);
        return std::ranges::all_of(relationships, [&](const VXRelationshipDescription *relationship) {
            return bool(migrateObjectRelationship(relationship->name(), oldObject, version, newObjects, error));
        });
    };
    VXMigrationWalk walk(entity, oldContext);
    if (!relationships.isEmpty() && !(walk.find(error) && walk.forEach(read, migrate, error)))
        return false;
    VXLogMethod(VXLogNotice, "migrateEntityRelationships:fromManagedObjectContext:",
                u"Duplicated %1 %2"_s.arg(*count).arg(entity.name()));
    return true;
}
