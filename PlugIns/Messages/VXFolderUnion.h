#pragma once

#include "VXManagedObjectContext.h"

/**
 * Unites folders that are the same, which happens when another copy of the store is merged: root folders with the same
 * name, phones' folders with the same URL, the user's with the same name in the same place, smart ones that show the
 * same. Their contents go to the first. If a phone's message is in both, one remains, and what was still to be done on
 * the phone remains to be done. Does not save. False, with an error, if they cannot be read.
 */
[[nodiscard]] bool VXUniteFolders(VXManagedObjectContext &context, VXError *error);
