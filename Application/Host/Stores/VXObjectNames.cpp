#include "VXObjectNames.h"

#include "VXErrorText.h"
#include "VXPluginStores.h"

#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

QString VXURIOfObject(const VXManagedObject &object)
{
    return object.objectID().uriRepresentation().toString();
}

QString VXShortNameOfObject(const VXManagedObject &object)
{
    return VXURIOfObject(object).section(u'/', -2);
}

VXManagedObjectPtr VXObjectNamed(VXManagedObjectContext &context, const QString &name, QString *problem)
{
    const bool isURI = name.contains(u':');
    const VXPersistentStoreCoordinator &coordinator = *context.persistentStoreCoordinator();
    for (const auto &store : coordinator.persistentStores()) {
        const QString uri = isURI ? name : u"x-coredata://%1/%2"_s.arg(store->identity().identifier(), name);
        const VXManagedObjectID objectID = coordinator.objectIDForURIRepresentation(QUrl(uri));
        VXError error;
        if (VXManagedObjectPtr object = context.existingObjectWithID(objectID, &error))
            return object;
        if (error) {
            *problem = VXErrorText(error);
            return nullptr;
        }
        if (isURI && objectID.isNull()) {
            *problem = u"\"%1\" names no object of this store"_s.arg(name);
            return nullptr;
        }
    }
    *problem = u"there is no object \"%1\""_s.arg(name);
    return nullptr;
}

VXPluginObject VXPluginObject::named(const QString &name, QString *problem)
{
    for (const QString &store : VXStoreNames()) {
        const VXPersistentStoreCoordinator::Ptr coordinator = VXStoreForName(store, problem);
        if (!coordinator)
            continue;
        auto context = std::make_unique<VXManagedObjectContext>(coordinator);
        if (VXManagedObjectPtr object = VXObjectNamed(*context, name, problem))
            return {std::move(context), std::move(object)};
    }
    *problem = u"no store has an object %1; \"vornix store list\" shows the names of objects, as VXCall/p1"_s.arg(name);
    return {};
}
