#pragma once

#include "VXHostCommand.h"
#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

/** The store of contacts; null when it is not there, which the output was told. */
[[nodiscard]] VXPersistentStoreCoordinator::Ptr VXOpenContacts(VXHostContext &context);

/**
 * The contact that the text names: "p12", a URI or UID, a phone number or e-mail address, or the name, if only one has it. Null when there
 * is none, or several, which the output was told.
 */
[[nodiscard]] VXManagedObjectPtr VXContactNamed(VXHostContext &context, VXManagedObjectContext &contacts,
                                                const QString &text);
