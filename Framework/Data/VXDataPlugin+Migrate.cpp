#include "VXDataPlugin.h"

#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXGuard.h"
#include "VXMethodLog.h"
#include "VXSourceComparison.h"
#include "VXValueIdentity.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cstring>
#include <exception>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype batchSize = 500;      // of old objects that are in memory at once
constexpr qsizetype largestKeptRow = 512; // in bytes; that of most old objects, which is then read once

constexpr const char *relationshipOperation = "migrateObjectRelationship:oldObject:version:withNewObjects:error:";

VXError unreadable(const VXEntityDescription &entity)
{
    return VXMakeError(VXLocalizedString(u"Unable to read data file"_s), "%s", qUtf8Printable(entity.name()));
}

QString nameOf(const VXManagedObjectID &objectID)
{
    return objectID.uriRepresentation().toString();
}

/** Walks the objects of exactly one entity, some at a time: the store may be larger than memory. */
class Walk
{
public:
    Walk(const VXEntityDescription &entity, VXManagedObjectContext &context) : _entity(entity), _context(context) {}

    bool find(VXError *error)
    {
        VXFetchRequest request(_entity);
        request.includesSubentities = false; // they come with their own entity
        request.batchSize = batchSize;
        _found = _context.executeFetchRequest(request, error);
        return _found.has_value();
    }
    /** Once they are found. */
    qsizetype count() const { return _found->size(); }
    // Calls with each batch and each object of it, until one of the calls answers false. False then, and on failure.
    template <class Batch, class Each>
    bool forEach(const Batch &batch, const Each &each, VXError *error)
    {
        for (qsizetype at = 0; at < count(); at += batchSize) {
            QList<VXManagedObjectPtr> objects;
            objects.reserve(batchSize);
            for (qsizetype i = at; i < std::min(at + batchSize, count()); ++i)
                objects.append(_found->at(i));
            // What cannot be read must not pass for objects without values.
            if (std::ranges::any_of(objects, [](const auto &object) { return object->isFault(); })) {
                VXSetError(error, unreadable(_entity));
                return false;
            }
            if (!batch(objects) || !std::ranges::all_of(objects, [&](const auto &object) {
                    return !isCancelled(error) && call(each, object) && advance();
                }))
                return false;
        }
        return true;
    }

private:
    // Hooks are foreign code: whoever wrote one wants to know at which object it threw.
    template <class Each>
    static bool call(const Each &each, const VXManagedObjectPtr &object)
    {
        try {
            return each(object);
        } catch (...) {
            VXLogClassMethod(VXLogWarning, VXDataPlugin, "migrateStore:toStore:error:",
                             "Exception while migrating object: "_L1 + nameOf(object->objectID()));
            throw;
        }
    }

    static bool isCancelled(VXError *error)
    {
        const VXStoreMigration *const run = VXStoreMigration::current();
        if (run == nullptr || !run->isCancelled())
            return false;
        VXSetError(error, VXError(VXErrorDomain, VXErrorCancelled));
        return true;
    }

    static bool advance()
    {
        if (VXStoreMigration *const run = VXStoreMigration::current())
            run->advance();
        return true;
    }

    const VXEntityDescription &_entity;
    VXManagedObjectContext &_context;
    std::optional<VXFetchResult> _found;
};

// The new object has it not, and no hook took care of it.
void noteDropped(const VXManagedObjectPtr &oldObject, const QString &property)
{
    VXStoreMigration *const run = VXStoreMigration::current();
    if (run == nullptr)
        return;
    QStringList &dropped = run->entity(oldObject->entity().name()).droppedProperties;
    if (!dropped.contains(property))
        dropped.append(property);
}

void noteNotFound(const VXManagedObjectPtr &oldObject, const QString &relationship, qsizetype count)
{
    if (VXStoreMigration *const run = VXStoreMigration::current())
        run->entity(oldObject->entity().name()).notFound[relationship] += count;
}

using Members = QHash<QString, QList<VXManagedObjectID>>; // by relationship

// What relationships that are to-many at both ends lead to though it is gone, by source. They are read without it.
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

VXPropertyPair propertiesNamed(const QString &name, const VXManagedObject &oldObject, const VXManagedObject &newObject)
{
    VXStoreMigration *const run = VXStoreMigration::current();
    const VXEntityDescription &old = oldObject.entity();
    const VXEntityDescription &made = newObject.entity();
    return run != nullptr ? run->propertiesNamed(name, old, made)
                          : VXPropertyPair{old.propertyForName(name), made.propertyForName(name)};
}

const VXAttributeDescription *asAttribute(const VXPropertyDescription *property)
{
    return property == nullptr ? nullptr : property->asAttribute();
}

const VXRelationshipDescription *asRelationship(const VXPropertyDescription *property)
{
    return property == nullptr ? nullptr : property->asRelationship();
}

template <class T>
bool areEqual(const QVariant &a, const QVariant &b)
{
    return *static_cast<const T *>(a.constData()) == *static_cast<const T *>(b.constData());
}

// Whether a hook gave back what it was given, as most do with most values. False means no more than that it takes a closer look.
bool isHandedBack(const QVariant &value, const QVariant &given)
{
    if (value.metaType() != given.metaType())
        return false;
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return true;
    case QMetaType::QString: {
        const auto &text = *static_cast<const QString *>(value.constData());
        const auto &before = *static_cast<const QString *>(given.constData());
        return text.constData() == before.constData() && text.size() == before.size();
    }
    case QMetaType::Int:
        return areEqual<int>(value, given);
    case QMetaType::LongLong:
        return areEqual<qlonglong>(value, given);
    case QMetaType::Bool:
        return areEqual<bool>(value, given);
    case QMetaType::QDateTime:
        return areEqual<QDateTime>(value, given);
    case QMetaType::Double: // not a number is the same, too
        return std::memcmp(value.constData(), given.constData(), sizeof(double)) == 0;
    default:
        return false;
    }
}

const VXRelationshipDescription *relationshipOf(const VXManagedObjectPtr &object, const QString &name)
{
    return object ? object->entity().relationshipForName(name) : nullptr;
}

// False where the way back leads to another object by now, and to one only: nothing is taken away from that.
bool hasRoomFor(const VXRelationshipDescription &made, const VXManagedObjectPtr &target,
                const VXManagedObjectPtr &source)
{
    const VXManagedObjectPtr taken = target->related(made.inverse()->index());
    return !taken || taken == source;
}

// Whether new objects can lead to one object only where several of the old ones led to it.
bool canLackRoom(const VXRelationshipDescription &old, const VXRelationshipDescription &made)
{
    const bool wasOneOfSeveral = old.inverse() == nullptr || old.inverse()->isToMany() || !made.isToMany();
    return wasOneOfSeveral && made.inverse() != nullptr && !made.inverse()->isToMany();
}

// Sets a relationship to one object, where nothing stands against it. False where there is more to look at.
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

// The new objects, by their names, of what an old object leads to.
QString textOfMembers(const QList<VXManagedObjectID> &oldIDs, const VXMigratedObjects &newObjects,
                      const VXRelationshipDescription *made)
{
    QStringList oldNames;
    QStringList newNames;
    for (const VXManagedObjectID &objectID : oldIDs) {
        const VXManagedObjectPtr object = VXMigratedTarget(objectID, newObjects, made);
        oldNames.append(nameOf(objectID));
        newNames.append(object ? nameOf(object->objectID()) : u"<null>"_s);
    }
    return u":\n(%1)\n(%2)"_s.arg(oldNames.join(", "_L1), newNames.join(", "_L1));
}

} // namespace

// -- Attributes

VXManagedObjectPtr VXDataPlugin::insertNewObjectForOldObject(const VXManagedObjectPtr &oldObject, int,
                                                             VXManagedObjectContext &newContext, VXError *)
{
    const VXEntityDescription *const entity =
        newContext.persistentStoreCoordinator()->model().entityForName(oldObject->entity().name());
    return entity == nullptr || entity->isAbstract() ? nullptr : newContext.insertNewObject(*entity);
}

QVariant VXDataPlugin::migrateObjectValue(const QVariant &value, const QString &, const VXManagedObjectPtr &, int,
                                          const VXManagedObjectPtr &, VXError *)
{
    return value;
}

bool VXDataPlugin::migrateObjectAttribute(const QString &attribute, const VXManagedObjectPtr &oldObject, int version,
                                          const VXManagedObjectPtr &newObject, VXError *error)
{
    const VXPropertyPair pair = propertiesNamed(attribute, *oldObject, *newObject);
    const VXAttributeDescription *const made = asAttribute(pair.made);
    const VXAttributeDescription *const old = asAttribute(pair.old);
    if (made == nullptr || old == nullptr) {
        if (old != nullptr && oldObject->attribute(old->index()).isValid())
            noteDropped(oldObject, attribute);
        return true;
    }
    const QVariant before = oldObject->attribute(old->index());
    VXError problem;
    const QVariant value = migrateObjectValue(before, attribute, oldObject, version, newObject, &problem);
    if (!value.isValid() && problem) {
        VXSetError(error, problem);
        return false;
    }
    if (made->type() == old->type() && isHandedBack(value, before) && !oldObject->hasChanges()) {
        if (value.isValid())
            newObject->copyAttribute(made->index(), *oldObject, old->index());
        return true;
    }
    VXStoreMigration *const run = VXStoreMigration::current();
    const bool isChanged = value != before && !VXIsSameValue(value, before); // not a number is the same, too
    if (run != nullptr && isChanged)
        ++run->entity(oldObject->entity().name()).changedValues[attribute];
    if (value.isValid())
        newObject->setAttribute(made->index(), value);
    if (run != nullptr && before.isValid() && (isChanged || made->type() != old->type())) {
        if (const QVariant after = newObject->attribute(made->index()); !VXIsSameValue(after, before))
            run->noteChange(*old, oldObject->objectID(), after);
    }
    return true;
}

bool VXDataPlugin::migrateObjectAttributes(const VXManagedObjectPtr &oldObject, int version,
                                           const VXManagedObjectPtr &newObject, VXError *error)
{
    return std::ranges::all_of(oldObject->entity().attributes(), [&](const VXAttributeDescription *attribute) {
        return attribute->isTransient() ||
               migrateObjectAttribute(attribute->name(), oldObject, version, newObject, error);
    });
}

std::optional<VXMigratedObjects> VXDataPlugin::migrateEntityAttributes(const VXEntityDescription &entity,
                                                                       VXManagedObjectContext &oldContext, int version,
                                                                       VXManagedObjectContext &newContext,
                                                                       VXError *error)
{
    Walk walk(entity, oldContext);
    if (!walk.find(error))
        return std::nullopt;
    VXMigratedObjects newObjects;
    newObjects.reserve(walk.count());
    const auto migrate = [&](const VXManagedObjectPtr &oldObject) {
        VXError problem;
        const VXManagedObjectPtr made = insertNewObjectForOldObject(oldObject, version, newContext, &problem);
        if (!made && problem) {
            VXSetError(error, problem);
            return false;
        }
        if (!made) {
            VXLogMethod(VXLogWarning, "migrateEntityAttributes:fromManagedObjectContext:",
                        "ignoring: "_L1 + nameOf(oldObject->objectID()));
            return true;
        }
        if (made->managedObjectContext() != &newContext) {
            VXSetError(error, VXMakeError(VXLocalizedString(u"The data could not be copied"_s), "%s",
                                          qUtf8Printable(
                                              VXLocalizedString(u"What stands for %1 is no object of the new store."_s)
                                                  .arg(nameOf(oldObject->objectID())))));
            return false;
        }
        newObjects.insert(oldObject->objectID(), made);
        return migrateObjectAttributes(oldObject, version, made, error);
    };
    const auto noBatch = [](const QList<VXManagedObjectPtr> &) { return true; };
    if (!walk.forEach(noBatch, migrate, error))
        return std::nullopt;
    return newObjects;
}

// -- Relationships

VXManagedObjectPtr VXDataPlugin::migrateObjectRelationship(const QString &relationship,
                                                           const VXManagedObjectPtr &oldObject, int,
                                                           const VXMigratedObjects &newObjects, VXError *)
{
    VXManagedObjectPtr newObject = newObjects.value(oldObject->objectID());
    const VXPropertyPair pair = newObject ? propertiesNamed(relationship, *oldObject, *newObject)
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
            noteDropped(oldObject, relationship);
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
        QString text =
            u"Unable to retrieve relationship %1 for object %2"_s.arg(relationship, nameOf(oldObject->objectID()));
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
        newObject->setRelatedObjects(made->index(), related);
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
                    old.name(), nameOf(oldObject->objectID())));
}

void VXDataPlugin::tellOfMissingMembers(const VXManagedObjectPtr &oldObject, const QString &relationship,
                                        const QList<VXManagedObjectID> &missing,
                                        const VXMigratedObjects &newObjects) const
{
    noteNotFound(oldObject, relationship, missing.size());
    const int index = oldObject->entity().relationshipForName(relationship)->index();
    VXLogMethod(VXLogWarning, relationshipOperation,
                u"Unable to retrieve relationship %1 for object %2"_s.arg(relationship, nameOf(oldObject->objectID())) +
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
    // To-many ones are read for a batch at once.
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
    Walk walk(entity, oldContext);
    if (!relationships.isEmpty() && !(walk.find(error) && walk.forEach(read, migrate, error)))
        return false;
    VXLogMethod(VXLogNotice, "migrateEntityRelationships:fromManagedObjectContext:",
                u"Duplicated %1 %2"_s.arg(*count).arg(entity.name()));
    return true;
}

// -- The whole

bool VXDataPlugin::migrateManagedObjectContext(VXManagedObjectContext &oldContext, int version,
                                               VXManagedObjectContext &newContext, VXError *error)
{
    QList<const VXEntityDescription *> entities = oldContext.persistentStoreCoordinator()->model().entities();
    entities.removeIf([](const VXEntityDescription *entity) { return entity->isAbstract(); });
    VXStoreMigration *const run = VXStoreMigration::current();
    QSet<const VXEntityDescription *> found; // those that have objects
    qint64 total = 0;
    for (const VXEntityDescription *const entity : std::as_const(entities)) {
        VXFetchRequest request(*entity);
        request.includesSubentities = false;
        const std::optional<qsizetype> count = oldContext.countForFetchRequest(request, error);
        if (!count)
            return false;
        total += *count;
        if (run != nullptr && *count > 0) {
            run->entity(entity->name()).found = *count;
            found.insert(entity);
        }
    }
    if (run != nullptr)
        run->begin(VXStoreMigration::Phase::Attributes, total);
    VXMigratedObjects newObjects;
    for (const VXEntityDescription *const entity : std::as_const(entities)) {
        std::optional<VXMigratedObjects> ofEntity =
            migrateEntityAttributes(*entity, oldContext, version, newContext, error);
        if (!ofEntity)
            return false;
        if (run != nullptr && found.contains(entity))
            run->noteCopied(entity->name(), ofEntity->size());
        if (newObjects.isEmpty())
            newObjects = *std::move(ofEntity);
        else
            newObjects.insert(*ofEntity);
    }
    if (run != nullptr) {
        run->setNewObjects(newObjects);
        run->begin(VXStoreMigration::Phase::Relationships, total);
    }
    return std::ranges::all_of(entities, [&](const VXEntityDescription *entity) {
        return migrateEntityRelationships(*entity, oldContext, version, newContext, newObjects, error);
    });
}

bool VXDataPlugin::copyObjects(VXManagedObjectContext &oldContext, int version, VXManagedObjectContext &newContext,
                               VXError *error)
{
    oldContext.keepRows(largestKeptRow);
    if (!migrateManagedObjectContext(oldContext, version, newContext, error))
        return false;
    VXStoreMigration *const run = VXStoreMigration::current();
    if (run == nullptr || !run->verifies())
        return true;
    const VXError difference = VXSourceComparison(*run, newContext, [&](const VXPropertyDescription &old) {
                                   return comparesProperty(old, version);
                               }).compare(oldContext);
    VXSetError(error, difference);
    return !difference;
}

bool VXDataPlugin::comparesProperty(const VXPropertyDescription &, int) const
{
    return true;
}

namespace {

// The number that the version of a store begins with; none when it begins with another character.
std::optional<int> leadingNumber(const QVariant &version)
{
    const QString text = version.toString();
    qsizetype length = 0;
    while (length < text.size() && text[length] >= u'0' && text[length] <= u'9')
        ++length;
    bool isNumber = false;
    const int number = text.first(length).toInt(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace

std::unique_ptr<VXManagedObjectContext> VXDataPlugin::migrateStore(VXCoreDataStore &source,
                                                                   VXCoreDataStore &destination, VXError *error)
{
    constexpr const char *operation = "migrateStore:toStore:error:";
    const auto fail = [&](const QString &name, const QString &reason) {
        VXLogMethod(VXLogWarning, operation, u"Exception while migrating store: %1: %2"_s.arg(name, reason));
        VXSetError(error, VXMakeError(name, "%s", qUtf8Printable(reason)));
        return nullptr;
    };
    try {
        const VXPersistentStoreCoordinator::Ptr from = source.persistentStoreCoordinator(error);
        const VXPersistentStoreCoordinator::Ptr to = from ? destination.persistentStoreCoordinator(error) : nullptr;
        if (!to)
            return nullptr;
        VXManagedObjectContext oldContext(from);
        auto newContext = std::make_unique<VXManagedObjectContext>(to);
        if (!validateManagedObjectContext(oldContext, error))
            return nullptr;
        const QVariant stored = source.metadata().value(VXStoreVersionKey);
        const std::optional<int> version = leadingNumber(stored);
        if (!version)
            VXLogMethod(VXLogWarning, operation,
                        u"unknown store version: 0x%1 %2"_s.arg(quintptr(stored.constData()), 0, 16)
                            .arg(VXDescription(stored.toString())));
        const std::optional<bool> areCopied = copyRows(*from, *to, version.value_or(0), error);
        if (!(areCopied ? *areCopied : copyObjects(oldContext, version.value_or(0), *newContext, error)))
            return nullptr;
        if (VXStoreMigration *const run = VXStoreMigration::current())
            run->begin(VXStoreMigration::Phase::Checking);
        return validateManagedObjectContext(*newContext, error) ? std::move(newContext) : nullptr;
    } catch (const VXException &exception) {
        return fail(exception.name(), exception.reason());
    } catch (const std::exception &exception) {
        return fail(VXClassName(typeid(exception)), QString::fromUtf8(exception.what()));
    }
}
