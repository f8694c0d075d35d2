#pragma once

#include "VXHostCommand.h"
#include "VXManagedObjectContext.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>

// What "vornix store" does with open stores. Each verb answers an exit status.

/** What the verbs work on: the stores, and a context over them. */
struct VXStoreSession
{
    VXHostContext &host;
    VXPersistentStoreCoordinator::Ptr coordinator;
    VXManagedObjectContext context{coordinator};

    /** Of those behind the store's path or name. */
    QString operand(qsizetype index) const;
    int fail(const QString &text) const;
    int fail(const VXError &error) const;
    /** The one that the first operand names; nullptr, told, when there is none. */
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
