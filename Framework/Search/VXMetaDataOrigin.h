#pragma once

#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * A mark that tells the coordinator's stores from all others that were ever in the same places, and from copies of
 * themselves. It contains the places, so a store that was moved, or copied, has another mark. Empty without a store.
 */
QByteArray VXMarkOfStores(const VXPersistentStoreCoordinator &coordinator);
/** Whether a text has the form of such a mark, and is not empty. */
bool VXIsMarkOfStores(const QByteArray &text);

/** The marks of all stores that metadata files describe, by the identifier of the sync. */
QMap<QString, QByteArray> VXAllMarksOfStores();
/** Whether each of those stores is still where it was when its files were made, and no other store is in its place. */
VX_EXPORT bool VXAreMarkedStoresInPlace();
/** Identifiers of the syncs whose files describe stores in that folder. */
VX_EXPORT QStringList VXSyncsOfStoresIn(const QString &folder);
