#pragma once

#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QByteArray>

/**
 * What tells the coordinator's stores from all others that ever lay in their places, and from copies of themselves: a folder
 * that is moved away, or was copied, is another one. Empty without a store.
 */
QByteArray VXMarkOfStores(const VXPersistentStoreCoordinator &coordinator);
/** Whether a text may be such a mark, and not an empty one. */
bool VXIsMarkOfStores(const QByteArray &text);
