#pragma once

#include "VXFetchRequest.h"
#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QVariantMap>

#include <functional>

class QWidget;

/**
 * Reads what a request finds, in the background, where the user can stop it, and then asks where to export it.
 * `recordOf` runs on another thread. `name` says what kind of objects they are. Main thread.
 */
void VXExportRecords(QWidget *widget, const VXPersistentStoreCoordinator::Ptr &coordinator,
                     const VXFetchRequest &request,
                     const std::function<QVariantMap(const VXManagedObjectPtr &)> &recordOf, const QString &name);
