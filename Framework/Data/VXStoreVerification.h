#pragma once

#include "VXCoreDataStore.h"
#include "VXError.h"
#include "VXManagedObject.h"

#include <QtCore/QList>

class VXManagedObjectContext;
class VXStoreMigration;

/**
 * Compares a saved copy with what the plugin's hooks made of the old objects: opens the file again, and requires every
 * object with every attribute and relationship. One thread at a time; what was copied is not held in memory a second
 * time.
 */
class VXStoreVerification
{
public:
    explicit VXStoreVerification(VXStoreMigration &migration) : _migration(migration) {}

    /** Notes what the context is to save. To be called before that. */
    void noteObjects(const VXManagedObjectContext &context);
    /** To be called after the save; what the hooks had saved before by themselves is not compared. @return the first
     *  difference, or none. */
    VXError compare(VXCoreDataStore &destination);

private:
    VXError compareBatch(const QList<VXManagedObjectPtr> &objects, VXPersistentStoreCoordinator &saved);
    VXError compareLinks(const QList<VXManagedObjectPtr> &objects, VXPersistentStore &store);

    VXStoreMigration &_migration;
    QList<VXManagedObjectPtr> _objects;
};
