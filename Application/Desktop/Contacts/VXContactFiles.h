#pragma once

#include "VXPersistentStoreCoordinator.h"

class VXSection;

/** Imports a vCard file in the background, one step to undo, and tells in the section's notices what came of it. */
void VXImportContacts(VXSection &section, const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &path);
