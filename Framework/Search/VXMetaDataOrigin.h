#pragma once

#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * What tells the coordinator's stores from all others that ever lay in their places, and from copies of themselves, with the
 * places: one that is moved away, or was copied, is another one. Empty without a store.
 */
QByteArray VXMarkOfStores(const VXPersistentStoreCoordinator &coordinator);
/** Whether a text may be such a mark, and not an empty one. */
bool VXIsMarkOfStores(const QByteArray &text);

/** The marks of all stores that files tell of, by the identifiers of the syncs. */
QMap<QString, QByteArray> VXAllMarksOfStores();
/** Whether each of those stores lies where it lay when its files were made, and no other in its place. */
VX_EXPORT bool VXAreMarkedStoresInPlace();
/** The syncs whose files tell of stores in that folder. */
VX_EXPORT QStringList VXSyncsOfStoresIn(const QString &folder);
