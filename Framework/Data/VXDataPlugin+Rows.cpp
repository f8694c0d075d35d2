#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXStoreRowCopy.h"

using namespace Qt::StringLiterals;

bool VXDataPlugin::copiesRows(int) const
{
    return false;
}

// Empty when objects have to be copied one by one. What is copied here is saved at once, and so only into a store that nobody
// sees yet.
std::optional<bool> VXDataPlugin::copyRows(const VXPersistentStoreCoordinator &from,
                                           const VXPersistentStoreCoordinator &to, int version, VXError *error) const
{
    constexpr const char *operation = "migrateStore:toStore:error:";
    VXStoreMigration *const run = VXStoreMigration::current();
    if (run == nullptr || !run->isIntoNewStore() || !copiesRows(version) || from.persistentStores().size() != 1 ||
        to.persistentStores().size() != 1)
        return std::nullopt;
    VXStoreRowCopy copy(*from.persistentStores().constFirst(), *to.persistentStores().constFirst());
    const auto progress = [&](qint64 rows) {
        run->advance(rows);
        return !run->isCancelled();
    };
    const QString obstacle = copy.obstacle(progress);
    if (run->isCancelled()) {
        VXSetError(error, VXError(VXErrorDomain, VXErrorCancelled));
        return false;
    }
    if (!obstacle.isNull()) {
        VXLogMethod(VXLogInfo, operation, "copying objects one by one: "_L1 + obstacle);
        return std::nullopt;
    }
    const qint64 total = copy.rowCount();
    VXError problem;
    QString difference;
    run->begin(VXStoreMigration::Phase::Attributes, total);
    bool isDone = copy.perform(progress, &problem);
    if (isDone && run->verifies()) {
        run->begin(VXStoreMigration::Phase::Verifying, total);
        isDone = copy.compare(progress, &difference, &problem);
    }
    if (!difference.isNull())
        problem =
            VXMakeError(VXLocalizedString(u"The copy is not what was to be saved"_s), "%s", qUtf8Printable(difference));
    else if (!isDone && !problem)
        problem = VXError(VXErrorDomain, VXErrorCancelled);
    if (problem) {
        VXSetError(error, problem);
        return false;
    }
    for (const VXStoreRowCopy::Entity &entity : copy.entities()) {
        VXLogMethod(VXLogNotice, "migrateEntityRelationships:fromManagedObjectContext:",
                    u"Duplicated %1 %2"_s.arg(entity.countOfFamily).arg(entity.name));
        if (entity.count == 0)
            continue;
        VXEntityMigration &told = run->entity(entity.name);
        told.found = entity.count;
        told.copied = entity.count;
        told.droppedProperties = entity.dropped;
    }
    return true;
}
