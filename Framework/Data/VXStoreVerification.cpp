#include "VXStoreVerification.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXPropertyList.h"
#include "VXSourceComparison.h"
#include "VXStoreMigration.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;

namespace {

using ObjectID = VXManagedObjectID;
using Links = QHash<ObjectID, QSet<ObjectID>>;

constexpr qsizetype batchSize = 1000;

VXError difference(const QString &what)
{
    return VXMakeError(VXLocalizedString(u"The copy is not what was to be saved"_s), "%s", qUtf8Printable(what));
}

VXError valueDiffers(const VXManagedObject &object, const VXPropertyDescription &property)
{
    return difference(VXLocalizedString(u"\"%1\" of %2 differs."_s)
                          .arg(property.name(), object.objectID().uriRepresentation().toString()));
}

// Whole numbers in a list are read back as the largest integer type.
bool isSameList(const QVariant &list, const VXStoreRow &row, int index)
{
    return row.isSame(index, VXPropertyList::fromData(VXPropertyList::toData(list, VXPropertyList::Format::Binary)));
}

bool isSame(const VXManagedObject &object, const VXStoreRow &row, const VXPropertyDescription &property)
{
    const int index = property.index();
    if (object.isSame(index, row, index))
        return true;
    const VXAttributeDescription *const attribute = property.asAttribute();
    if (attribute == nullptr)
        return false;
    const QVariant value = object.attribute(index); // an empty text, or none, may be stored as another kind of cell
    return row.isSame(index, value) ||
           (attribute->type() == VXAttributeType::PropertyList && isSameList(value, row, index));
}

} // namespace

void VXStoreVerification::noteObjects(const VXManagedObjectContext &context)
{
    // updated objects: those whose rows were saved before
    _objects = context.insertedObjects() + context.updatedObjects();
}

namespace {

// Opens the same files a second time, to read what they hold now. Uses the same model, so that IDs can be compared.
VXPersistentStoreCoordinator::Ptr openAgain(VXCoreDataStore &store, VXError *error)
{
    const VXPersistentStoreCoordinator::Ptr opened = store.persistentStoreCoordinator(error);
    auto again =
        opened ? VXPersistentStoreCoordinator::coordinatorWithModel(opened->modelPtr(), error, VXObjectClasses::Plain)
               : nullptr;
    if (!again)
        return nullptr;
    for (const auto &each : opened->persistentStores()) {
        if (!again->addPersistentStore(each->type(), each->path(), {.isReadOnly = true}, error))
            return nullptr;
    }
    return again;
}

} // namespace

VXError VXStoreVerification::compare(VXCoreDataStore &destination)
{
    // Objects that saving itself deleted again, such as search words that a class makes anew, were not to be saved.
    _objects.removeIf([](const VXManagedObjectPtr &object) { return object->managedObjectContext() == nullptr; });
    _migration.begin(VXStoreMigration::Phase::Verifying, _objects.size());
    VXError error;
    const VXPersistentStoreCoordinator::Ptr coordinator = openAgain(destination, &error);
    for (qsizetype at = 0; at < _objects.size() && !error && !_migration.isCancelled(); at += batchSize)
        error = compareBatch(_objects.mid(at, batchSize), *coordinator);
    return error;
}

VXError VXStoreVerification::compareBatch(const QList<VXManagedObjectPtr> &objects, VXPersistentStoreCoordinator &saved)
{
    struct Group
    {
        QList<VXManagedObjectPtr> known;
        QList<ObjectID> objectIDs;
        VXObjectShelves<VXManagedObjectPtr> objects; // not found yet
    };
    std::map<const VXStoreIdentity *, Group> groups;
    for (const VXManagedObjectPtr &object : objects) {
        Group &group = groups[object->objectID().store()];
        group.known.append(object);
        group.objectIDs.append(object->objectID());
        group.objects.insert(object->objectID(), object);
    }
    for (auto &[identity, group] : groups) {
        const auto store = identity == nullptr ? nullptr : saved.persistentStoreForIdentity(*identity);
        if (!store)
            return difference(VXLocalizedString(u"Of %1 objects none was saved."_s).arg(group.objectIDs.size()));
        VXError error;
        VXError found;
        const auto compareRow = [&, &unfound = group.objects](const VXFetchedRow &fetched) {
            const VXManagedObjectPtr object = unfound.find(fetched.objectID);
            if (!object || found)
                return;
            unfound.remove(fetched.objectID);
            for (const VXPropertyDescription *const property : object->entity().properties()) {
                const VXRelationshipDescription *const relationship = property->asRelationship();
                const bool isInRow = relationship == nullptr || !relationship->isToMany();
                if (isInRow && !property->isTransient() && !isSame(*object, *fetched.row, *property))
                    found = valueDiffers(*object, *property);
            }
            _migration.advance();
        };
        if (!store->rows(group.objectIDs, compareRow, &error))
            return error;
        group.objects.forEach([&](const VXManagedObjectPtr &object) {
            if (!found)
                found = difference(
                    VXLocalizedString(u"%1 is missing."_s).arg(object->objectID().uriRepresentation().toString()));
        });
        if (!found)
            found = compareLinks(group.known, *store);
        if (found)
            return found;
    }
    return {};
}

// Compares many-to-many relationships; all others are in the rows.
VXError VXStoreVerification::compareLinks(const QList<VXManagedObjectPtr> &objects, VXPersistentStore &store)
{
    QHash<const VXRelationshipDescription *, QList<VXManagedObjectPtr>> sources;
    for (const VXManagedObjectPtr &object : objects) {
        for (const VXRelationshipDescription *const relationship : object->entity().relationships()) {
            if (relationship->isManyToMany() && !relationship->isTransient())
                sources[relationship].append(object);
        }
    }
    for (auto group = sources.cbegin(); group != sources.cend(); ++group) {
        const VXRelationshipDescription &relationship = *group.key();
        Links stored;
        QList<ObjectID> objectIDs;
        for (const VXManagedObjectPtr &object : *group)
            objectIDs.append(object->objectID());
        VXError error;
        const auto note = [&](const ObjectID &source, const ObjectID &target) { stored[source].insert(target); };
        if (!store.related(objectIDs, relationship, note, &error))
            return error;
        for (const VXManagedObjectPtr &object : *group) {
            const QList<ObjectID> wanted = object->relatedIDs(relationship.index());
            if (stored.value(object->objectID()) != QSet<ObjectID>(wanted.cbegin(), wanted.cend()))
                return valueDiffers(*object, relationship);
        }
    }
    return {};
}
