#pragma once

#include "VXHostCommand.h"
#include "VXManagedObjectContext.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>

// What "vornix store" does with open stores. Each verb returns an exit status.

/** What the verbs work with: the stores, and a context on them. */
struct VXStoreSession
{
    VXHostContext &host;
    VXPersistentStoreCoordinator::Ptr coordinator;
    VXManagedObjectContext context{coordinator};

    /** One of those after the store's path or name. */
    QString operand(qsizetype index) const;
    int fail(const QString &text) const;
    int fail(const VXError &error) const;
    /** The entity that the first operand names; nullptr, with a message to the user, if there is none. */
    const VXEntityDescription *entity() const;
};

// Looking
int VXShowStoreInfo(VXStoreSession &session);
int VXShowStoreEntities(VXStoreSession &session);
int VXListStoreObjects(VXStoreSession &session);
int VXCheckStore(VXStoreSession &session);
// Changing
int VXInsertStoreObject(VXStoreSession &session);
int VXUpdateStoreObject(VXStoreSession &session);
int VXDeleteStoreObjects(VXStoreSession &session);
int VXImportStoreObjects(VXStoreSession &session);
