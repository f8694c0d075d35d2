#pragma once

#include "VXManagedObjectContext.h"

/**
 * Makes one of folders that are the same, as a merge of another copy of the store brings them: root folders of one name, phones'
 * of one URL, the user's of one name in one place, smart ones that show the same. What lies in them goes to the first; of a
 * phone's messages each that is in both is one then, and what was still to be done on the phone is to be done. Not saved. False,
 * with an error, when they cannot be read.
 */
[[nodiscard]] bool VXUniteFolders(VXManagedObjectContext &context, VXError *error);
