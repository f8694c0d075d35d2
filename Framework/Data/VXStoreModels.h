#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Puts the models of a plugin in the place of the copies in the folder of its store, which must not be open here, where these say
 * the same of how objects lie in it: what an earlier version made has the indexes that it lacks once it is opened. A folder that
 * cannot be written stays as it is.
 */
void VXRenewStoreModels(const QStringList &models, const QString &folder);
