#pragma once

#include "VXPersistentStoreCoordinator.h"

/**
 * Makes anew what contacts are found by, their words and the search texts of their numbers, of all whom an earlier program saved last.
 * What cannot be saved is logged, and left to the next start.
 */
void VXUpdateContactWords(const VXPersistentStoreCoordinator::Ptr &coordinator);
