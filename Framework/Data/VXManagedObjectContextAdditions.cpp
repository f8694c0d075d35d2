#include "VXManagedObjectContextAdditions.h"

#include "VXApplication.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"

#include <QtCore/QPointer>

using namespace Qt::StringLiterals;

namespace {

VXObjectIDList objectIDs(const VXNotification &notification, const QString &key)
{
    const auto found = notification.userInfo.constFind(key);
    if (found == notification.userInfo.cend())
        return std::nullopt;
    QList<VXManagedObjectID> result;
    for (const QVariant &element : found->toList()) {
        if (const auto object = element.value<VXManagedObjectPtr>())
            result.append(object->objectID());
    }
    return result;
}

// The same object's ID in the given model: the ID may come from another coordinator, whose model has an entity of the
// same name. Null when there is no such entity.
VXManagedObjectID inModel(const VXManagedObjectID &objectID, const VXManagedObjectModel &model)
{
    if (objectID.isNull() || &objectID.entity().model() == &model)
        return objectID;
    const VXEntityDescription *const entity = model.entityForName(objectID.entity().name());
    return entity == nullptr || objectID.isTemporary()
               ? VXManagedObjectID()
               : VXManagedObjectID(*entity, *objectID.store(), objectID.number());
}

bool concerns(const VXManagedObjectContext &context, const VXNotification &notification)
{
    const auto *const poster = notification.object.value<VXManagedObjectContext *>();
    return poster != nullptr && poster != &context &&
           poster->persistentStoreCoordinator() == context.persistentStoreCoordinator();
}

} // namespace

void dispatchContextSaveNotificationToMainThread(QObject *observer, const VXNotification &notification,
                                                 const VXManagedObjectContext *context,
                                                 const VXContextSaveHandler &handler)
{
    if (context != nullptr && !concerns(*context, notification))
        return;
    if (VXApplication::sharedApplication().isTerminating())
        return;
    const auto *const poster = notification.object.value<VXManagedObjectContext *>();
    const auto coordinator = poster == nullptr ? nullptr : poster->persistentStoreCoordinator();
    // Objects stay on the thread of the context that saved; only their IDs travel, with the model that they lead to.
    VXMainThread::perform([model = coordinator ? coordinator->modelPtr() : nullptr,
                           target = QPointer<QObject>(observer), handler,
                           inserted = objectIDs(notification, VXInsertedObjectsKey),
                           updated = objectIDs(notification, VXUpdatedObjectsKey),
                           deleted = objectIDs(notification, VXDeletedObjectsKey)] {
        if (target)
            handler(inserted, updated, deleted);
    });
}

VXManagedObjectPtr vx_fetchManagedObjectWithID(VXManagedObjectContext &context, const VXManagedObjectID &objectID)
{
    const VXManagedObjectID ownID = inModel(objectID, context.persistentStoreCoordinator()->model());
    if (ownID.isNull())
        return {};
    VXFetchRequest request(ownID.entity());
    request.predicate = VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::Equal,
                                                VXExpression::constant(QVariant::fromValue(ownID)));
    VXError error;
    const std::optional<VXFetchResult> result = context.executeFetchRequest(request, &error);
    if (!result) {
        VXLogFrom(VXInstanceOrigin(&context, "vx_fetchManagedObjectWithID:"), VXLogError, error.description());
        return {};
    }
    return result->isEmpty() ? VXManagedObjectPtr() : result->at(result->size() - 1);
}

std::optional<qsizetype> vx_countForFetchRequest(VXManagedObjectContext &context, const VXFetchRequest &request,
                                                 VXError *error)
{
    if (VX_OSX_VERSION >= 0x1050)
        return context.countForFetchRequest(request, error);
    const std::optional<VXFetchResult> result = context.executeFetchRequest(request, error);
    return result ? std::optional(result->size()) : std::nullopt;
}
