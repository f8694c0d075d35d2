#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXMigrationWalk.h"
#include "VXSourceComparison.h"
#include "VXStoreRowCopy.h"

#include <algorithm>
#include <iterator>
#include <utility>

using namespace Qt::StringLiterals;

bool VXDataPlugin::copiesRows(int) const
{
    return false;
}

bool VXDataPlugin::migratesAttribute(const VXAttributeDescription &, int) const
{
    return false;
}

namespace {

// Copies the rows, and compares them with the old ones. False without an error when cancelled.
bool performCopy(VXStoreRowCopy &copy, VXStoreMigration &run, const VXStoreRowCopy::Progress &progress, VXError *error)
{
    QString difference;
    run.begin(VXStoreMigration::Phase::Attributes, copy.rowCount());
    bool isDone = copy.perform(progress, error);
    if (isDone && run.verifies()) {
        run.begin(VXStoreMigration::Phase::Verifying, copy.rowCount());
        isDone = copy.compare(progress, &difference, error);
    }
    if (difference.isNull())
        return isDone;
    VXSetError(error, VXMakeError(VXLocalizedString(u"The copy is not what was to be saved"_s), "%s",
                                  qUtf8Printable(difference)));
    return false;
}

void tellOfCopied(VXStoreMigration &run, const VXStoreRowCopy::Entity &entity)
{
    VXLogClassMethod(VXLogNotice, VXDataPlugin, "migrateEntityRelationships:fromManagedObjectContext:",
                     u"Duplicated %1 %2"_s.arg(entity.countOfFamily).arg(entity.name));
    if (entity.count == 0)
        return;
    VXEntityMigration &told = run.entity(entity.name);
    told.found = entity.count;
    told.copied = entity.count;
    told.droppedProperties = entity.dropped;
}

// Whether the hooks gave an object all values that the rows lack: a save does not check objects without changes.
bool hasValues(const VXManagedObject &object, const QStringList &attributes, VXError *error)
{
    const auto lacking = std::ranges::find_if(attributes, [&](const QString &name) {
        return !object.attribute(object.entity().propertyForName(name)->index()).isValid();
    });
    if (lacking == attributes.end())
        return true;
    VXSetError(error,
               VXMakeError(VXLocalizedString(u"The data could not be copied"_s), "\"%s\" of \"%s\" needs a value.",
                           qUtf8Printable(*lacking), qUtf8Printable(object.entity().name())));
    return false;
}

bool migrateLeftAttributes(VXDataPlugin &plugin, const VXStoreRowCopy::Entity &copied,
                           VXManagedObjectContext &oldContext, int version, VXManagedObjectContext &newContext,
                           VXMigratedObjects *newObjects, VXError *error)
{
    const VXPersistentStoreCoordinator &to = *newContext.persistentStoreCoordinator();
    const VXStoreIdentity &store = to.persistentStores().constFirst()->identity();
    const VXEntityDescription &old = *oldContext.persistentStoreCoordinator()->model().entityForName(copied.name);
    const VXEntityDescription &made = *to.model().entityForName(copied.name);
    VXMigrationWalk walk(old, oldContext);
    VXFetchRequest request(made);
    request.includesSubentities = false;
    request.includesPendingChanges = false;
    request.batchSize = VXMigrationWalk::batchSize;
    const std::optional<VXFetchResult> copies = newContext.executeFetchRequest(request, error);
    if (!copies || !walk.find(error))
        return false;
    VXError problem;
    qsizetype place = 0; // position in the copy: both stores return objects in the order of their numbers
    const auto migrate = [&](const VXManagedObjectPtr &oldObject) {
        const VXManagedObjectID objectID(made, store, oldObject->objectID().number());
        VXManagedObjectPtr object = place < copies->size() ? copies->at(place++) : VXManagedObjectPtr();
        if (!object || object->objectID() != objectID)
            object = newContext.existingObjectWithID(objectID, &problem);
        if (!object)
            return false;
        newObjects->insert(oldObject->objectID(), object);
        const auto migrateOne = [&](const QString &name) {
            return plugin.migrateObjectAttribute(name, oldObject, version, object, &problem);
        };
        return std::ranges::all_of(copied.left, migrateOne) && hasValues(*object, copied.unfilled, &problem);
    };
    const auto noBatch = [](const QList<VXManagedObjectPtr> &) { return true; };
    if (walk.forEach(noBatch, migrate, &problem))
        return true;
    // Always an error: the rows are saved already, so that hooks cannot have nothing saved here.
    VXSetError(error, problem ? problem
                              : VXMakeError(VXLocalizedString(u"The data could not be copied"_s), "%s",
                                            qUtf8Printable(copied.name)));
    return false;
}

// For all entities.
bool migrateLeftAttributes(VXDataPlugin &plugin, const QList<VXStoreRowCopy::Entity> &entities,
                           VXManagedObjectContext &oldContext, int version, VXManagedObjectContext &newContext,
                           VXError *error)
{
    QList<VXStoreRowCopy::Entity> hooked;
    std::ranges::copy_if(entities, std::back_inserter(hooked),
                         [](const auto &entity) { return entity.count > 0 && !entity.left.isEmpty(); });
    if (hooked.isEmpty())
        return true;
    qint64 count = 0;
    for (const VXStoreRowCopy::Entity &entity : std::as_const(hooked))
        count += entity.count;
    VXStoreMigration &run = *VXStoreMigration::current();
    run.begin(VXStoreMigration::Phase::Attributes, count);
    VXMigratedObjects newObjects;
    newObjects.reserve(count);
    oldContext.keepRows(VXMigrationWalk::largestKeptRow);
    for (const VXStoreRowCopy::Entity &entity : std::as_const(hooked)) {
        if (!migrateLeftAttributes(plugin, entity, oldContext, version, newContext, &newObjects, error))
            return false;
    }
    run.setNewObjects(newObjects);
    const auto isCompared = [&](const VXPropertyDescription &old) { // what rows refer to was compared already
        return old.asAttribute() != nullptr && plugin.comparesProperty(old, version);
    };
    return VXIsLikeSource(oldContext, newContext, isCompared, error);
}

} // namespace

// Returns empty when the objects have to be copied one by one. Rows are saved at once, so this is only for a store that
// nobody can see yet; attributes set by hooks are saved with the context.
std::optional<bool> VXDataPlugin::copyRows(VXManagedObjectContext &oldContext, int version,
                                           VXManagedObjectContext &newContext, VXError *error)
{
    VXStoreMigration *const run = VXStoreMigration::current();
    const VXPersistentStoreCoordinator &from = *oldContext.persistentStoreCoordinator();
    const auto stores = from.persistentStores();
    const auto newStores = newContext.persistentStoreCoordinator()->persistentStores();
    if (run == nullptr || !run->isIntoNewStore() || !copiesRows(version) || stores.size() != 1 || newStores.size() != 1)
        return std::nullopt;
    const auto progress = [&](qint64 rows) {
        run->advance(rows);
        return !run->isCancelled();
    };
    VXStoreRowCopy copy(*stores.constFirst(), *newStores.constFirst(),
                        [&](const VXAttributeDescription &old) { return migratesAttribute(old, version); });
    const QString obstacle = copy.obstacle(progress);
    if (!obstacle.isNull() && !run->isCancelled()) {
        VXLogMethod(VXLogInfo, "migrateStore:toStore:error:", "copying objects one by one: "_L1 + obstacle);
        return std::nullopt;
    }
    VXError problem;
    bool isDone = obstacle.isNull() && performCopy(copy, *run, progress, &problem);
    if (isDone) {
        for (const VXStoreRowCopy::Entity &entity : copy.entities())
            tellOfCopied(*run, entity);
        isDone = migrateLeftAttributes(*this, copy.entities(), oldContext, version, newContext, &problem);
    }
    if (!isDone)
        VXSetError(error, problem ? problem : VXError(VXErrorDomain, VXErrorCancelled));
    return isDone;
}
