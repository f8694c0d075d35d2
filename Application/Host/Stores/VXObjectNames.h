#pragma once

#include "VXManagedObjectContext.h"

#include <QtCore/QString>

#include <memory>

// Objects are named by their URIs, or by the short names that tables show, such as "VXCall/p12".

[[nodiscard]] QString VXURIOfObject(const VXManagedObject &object);
[[nodiscard]] QString VXShortNameOfObject(const VXManagedObject &object);

/** The object with a URI or a short name. @return null with a problem on failure. */
[[nodiscard]] VXManagedObjectPtr VXObjectNamed(VXManagedObjectContext &context, const QString &name, QString *problem);

/** An object of a data plugin's store, in a context of its own. Only while plugins are loaded (VXRunWithPlugins). */
struct VXPluginObject
{
    std::unique_ptr<VXManagedObjectContext> context;
    VXManagedObjectPtr object; // null: there is none

    /** Searches every store for the object with a URI or a short name; sets `problem` if none has it. */
    [[nodiscard]] static VXPluginObject named(const QString &name, QString *problem);
};
