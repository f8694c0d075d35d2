#include "VXStoredObject.h"

#include "VXStoreByName.h"

#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

// A short name, as "VXCall/p1", may be of any store of a coordinator.
QStringList urisFor(const QString &text, const VXPersistentStoreCoordinator &coordinator)
{
    if (text.contains(u':'))
        return {text};
    QStringList uris;
    for (const auto &store : coordinator.persistentStores())
        uris.append(u"x-coredata://%1/%2"_s.arg(store->identity().identifier(), text));
    return uris;
}

} // namespace

VXStoredObject VXStoredObject::forURI(const QString &text, QString *problem)
{
    for (const QString &name : VXStoreNames()) {
        const VXPersistentStoreCoordinator::Ptr coordinator = VXStoreForName(name, problem);
        for (const QString &uri : coordinator ? urisFor(text, *coordinator) : QStringList()) {
            const VXManagedObjectID objectID = coordinator->objectIDForURIRepresentation(QUrl(uri));
            if (objectID.isNull())
                continue;
            auto context = std::make_unique<VXManagedObjectContext>(coordinator);
            if (VXManagedObjectPtr object = context->existingObjectWithID(objectID))
                return {std::move(context), std::move(object)};
        }
    }
    *problem = u"no store has an object %1; \"vornix store list\" shows the names of objects, as VXCall/p1"_s.arg(text);
    return {};
}
