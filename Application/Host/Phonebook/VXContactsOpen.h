#pragma once

#include "VXHostCommand.h"
#include "VXManagedObjectContext.h"
#include "VXPersistentStoreCoordinator.h"

#include <memory>

/** The store of contacts; null when it is not there, which the output was told. */
[[nodiscard]] VXPersistentStoreCoordinator::Ptr VXOpenContacts(VXHostContext &context);

/**
 * The contact that the operand behind the verb names: "p12", a URI or UID, a phone number or e-mail address, or the name, if
 * only one has it. The person is null when there is none, or several, or no store, which the output was told.
 */
struct VXNamedContact
{
    explicit VXNamedContact(VXHostContext &context);

    std::unique_ptr<VXManagedObjectContext> contacts; // the person's
    VXManagedObjectPtr person;
};
