#pragma once

#include "VXPersistentStoreCoordinator.h"

/**
 * Where an earlier program made the words by which contacts are found while they are typed, makes those of all contacts anew, once. What
 * cannot be saved is logged, and left to the next start.
 */
void VXUpdateContactWords(const VXPersistentStoreCoordinator::Ptr &coordinator);
