#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/** Whether the copies of a plugin's models in the folder of its store are the same files; false if some cannot be read. */
bool VXHasStoreModels(const QStringList &models, const QString &folder);

/**
 * Replaces the copies of a plugin's models in the folder of its store, which must not be open here, if they describe
 * the same layout of objects. So a store made by an earlier version gets the indexes that it lacks when it is next
 * opened. A folder that cannot be written is left as it is.
 */
void VXRenewStoreModels(const QStringList &models, const QString &folder);
