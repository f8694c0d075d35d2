#pragma once

#include "VXManagedObjectContext.h"

#include <QtCore/QString>

#include <memory>

/** An object of a data plugin's store, in a context of its own. Among the plugins (VXRunWithPlugins) only. */
struct VXStoredObject
{
    std::unique_ptr<VXManagedObjectContext> context;
    VXManagedObjectPtr object; // null: there is none

    /** Looks in every store for the object with that URI; tells as `problem` when it is in none. */
    [[nodiscard]] static VXStoredObject forURI(const QString &uri, QString *problem);
};
