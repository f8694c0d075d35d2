#pragma once

#include "VXCoreDataStore.h"
#include "VXError.h"
#include "VXManagedObject.h"

#include <QtCore/QList>

class VXManagedObjectContext;
class VXStoreMigration;

/**
 * Holds a copy that was saved against what the plugin's hooks made of the old objects: the file is opened anew, and every object
 * must be there, with every attribute and relationship. Of one thread at a time; what was copied is not held in memory a second
 * time.
 */
class VXStoreVerification
{
public:
    explicit VXStoreVerification(VXStoreMigration &migration) : _migration(migration) {}

    /** Before the context is saved: takes note of what it is to save. */
    void noteObjects(const VXManagedObjectContext &context);
    /** After it was saved; what the hooks had saved themselves before is not looked at. @return the first difference; none when
     * there is none. */
    VXError compare(VXCoreDataStore &destination);

private:
    VXError compareBatch(const QList<VXManagedObjectPtr> &objects, VXPersistentStoreCoordinator &saved);
    VXError compareLinks(const QList<VXManagedObjectPtr> &objects, VXPersistentStore &store);

    VXStoreMigration &_migration;
    QList<VXManagedObjectPtr> _objects;
};
