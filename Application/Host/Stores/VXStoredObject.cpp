#include "VXStoredObject.h"

#include "VXStoreByName.h"

#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

VXStoredObject VXStoredObject::forURI(const QString &uri, QString *problem)
{
    for (const QString &name : VXStoreNames()) {
        const VXPersistentStoreCoordinator::Ptr coordinator = VXStoreForName(name, problem);
        const VXManagedObjectID objectID =
            coordinator ? coordinator->objectIDForURIRepresentation(QUrl(uri)) : VXManagedObjectID();
        if (objectID.isNull())
            continue;
        auto context = std::make_unique<VXManagedObjectContext>(coordinator);
        if (VXManagedObjectPtr object = context->existingObjectWithID(objectID))
            return {std::move(context), std::move(object)};
    }
    *problem = u"no store has an object %1"_s.arg(uri);
    return {};
}
