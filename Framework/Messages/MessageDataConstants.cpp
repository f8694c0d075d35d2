#include "MessageDataConstants.h"

#include "VXDeviceURL.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXMessageRecord.h"
#include "VXUserDefaults.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

using State = VXMessageRecord::State;

const QString VXInboxFolder = u"inbox"_s;
const QString VXSentFolder = u"sent"_s;
const QString VXDraftsFolder = u"drafts"_s;
const QString VXTrashFolder = u"trash"_s;
const QString VXUserRootFolder = u"user"_s;

const VXNotificationName VXMessageWillSendNotification(u"VXMessageWillSendNotification"_s);
const VXNotificationName VXMessageDidSendNotification(u"VXMessageDidSendNotification"_s);

namespace {

const QString folderKey = u"folder"_s;
const QString urlKey = u"url"_s;
const QString stateKey = u"state"_s;
const QString pendingKey = u"pending"_s;
const QString dateKey = u"date"_s;

const VXEntityDescription *entityNamed(const VXManagedObjectContext &context, const QString &name)
{
    return context.persistentStoreCoordinator()->model().entityForName(name);
}

bool isKindOf(const VXManagedObjectPtr &object, const QString &entityName)
{
    if (!object)
        return false;
    const VXEntityDescription *at = &object->entity();
    while (at != nullptr && at->name() != entityName)
        at = at->superentity();
    return at != nullptr;
}

VXManagedObjectPtr objectFor(const VXManagedObjectPtr &object, const QString &key)
{
    return object->valueForKey(key).value<VXManagedObjectPtr>();
}

bool isOnPhone(const VXManagedObjectPtr &message)
{
    return !message->valueForKey(urlKey).toString().isNull();
}

void setPending(const VXManagedObjectPtr &message, VXPendingChange change)
{
    message->setValueForKey(static_cast<int>(change), pendingKey);
}

// None, with an error, when the model has no such fetch template, or the store cannot be read.
std::optional<VXFetchResult> rootFolders(const QString &name, VXManagedObjectContext &context, VXError *error)
{
    const VXEntityDescription *const entity = entityNamed(context, u"VXRootFolder"_s);
    if (entity == nullptr) {
        VXSetError(error, VXMakeError(u"The store's model has no entity \"VXRootFolder\"."_s));
        return std::nullopt;
    }
    const std::optional<VXFetchRequest> request = VXFetchRequest::fromTemplate(*entity, name, {}, error);
    return request ? context.executeFetchRequest(*request, error) : std::nullopt;
}

std::optional<VXFetchRequest> requestForDeviceFolder(const VXEntityDescription &entity, const QString &url,
                                                     VXError *error)
{
    const QString byURL = u"by_url"_s;
    if (!entity.fetchTemplate(byURL).isNull())
        return VXFetchRequest::fromTemplate(entity, byURL, {{u"URL_SEARCH"_s, url}}, error);
    VXFetchRequest request(entity);
    request.predicate = *VXPredicate::predicateWithFormat(u"url_search == %@"_s, {url});
    return request;
}

std::optional<VXFetchResult> deviceFolders(const QString &url, VXManagedObjectContext &context, VXError *error)
{
    const VXEntityDescription *const entity = entityNamed(context, u"VXDeviceFolder"_s);
    if (entity == nullptr) {
        VXSetError(error, VXMakeError(u"The store's model has no entity \"VXDeviceFolder\"."_s));
        return std::nullopt;
    }
    const std::optional<VXFetchRequest> request = requestForDeviceFolder(*entity, url, error);
    return request ? context.executeFetchRequest(*request, error) : std::nullopt;
}

// A copy with all stored attributes, in the given context.
VXManagedObjectPtr copyOf(const VXManagedObjectPtr &message, VXManagedObjectContext &context)
{
    const VXManagedObjectPtr copy = context.insertNewObject(u"VXMessage"_s);
    for (const VXAttributeDescription *const attribute : copy->entity().attributes()) {
        if (!attribute->isTransient() && message->entity().attributeForName(attribute->name()) != nullptr)
            copy->setValueForKey(message->valueForKey(attribute->name()), attribute->name());
    }
    return copy;
}

// Applies what follows from putting a message into a folder.
void file(const VXManagedObjectPtr &message, const VXManagedObjectPtr &target)
{
    const bool isTrash =
        isKindOf(target, u"VXRootFolder"_s) && target->valueForKey(u"root_name"_s).toString() == VXTrashFolder;
    const bool isDevice = isKindOf(target, u"VXDeviceFolder"_s);
    const bool fixesDate =
        !isTrash && !isDevice && VXUserDefaults::standardUserDefaults().boolForKey(u"messages.fix_date_when_moving"_s);
    if (fixesDate && !message->valueForKey(dateKey).toDateTime().isValid())
        message->setValueForKey(QDateTime::currentDateTimeUtc(), dateKey);
    message->setValueForKey(QVariant(), urlKey);
    message->setValueForKey(QVariant::fromValue(target), folderKey);
    setPending(message, isTrash ? VXPendingChange::Trash : isDevice ? VXPendingChange::Update : VXPendingChange::None);
}

} // namespace

VXManagedObjectPtr VXFetchRootFolder(const QString &rootFolderName, VXManagedObjectContext *context)
{
    VXError error = context != nullptr ? VXError() : VXMakeError(u"managedObjectContext can not be nil"_s);
    const auto found = context != nullptr ? rootFolders(rootFolderName, *context, &error) : std::nullopt;
    VXAssert(found.has_value(),
             u"error while fetching root folder %1: %2"_s.arg(VXDescription(rootFolderName), error.description()));
    VXAssert(found->size() == 1,
             u"invalid count for root folder %1: %2"_s.arg(VXDescription(rootFolderName)).arg(found->size()));
    return found->at(found->size() - 1);
}

VXManagedObjectPtr VXFetchDeviceFolder(const QUrl &anyURL, VXManagedObjectContext *context)
{
    const QString url = VXAbsoluteString(VXGetDeviceURLFromURL(anyURL));
    VXAssert(!url.isEmpty(),
             "Invalid device URL: "_L1 + VXDescription(anyURL.isEmpty() ? QString() : anyURL.toString()));
    VXAssert(context != nullptr, u"managedObjectContext can not be nil"_s);
    VXError error;
    const std::optional<VXFetchResult> found = deviceFolders(url, *context, &error);
    VXAssert(found.has_value(), u"error while fetching device folder %1: %2"_s.arg(url, error.description()));
    return found->isEmpty() ? VXManagedObjectPtr() : found->at(found->size() - 1);
}

bool VXMarkMessageAsRead(const VXManagedObjectPtr &message)
{
    const int state = message ? message->valueForKey(stateKey).toInt() : 0;
    if (state == static_cast<int>(State::Read))
        return true;
    if (state != static_cast<int>(State::Unread))
        return false;
    message->setValueForKey(static_cast<int>(State::Read), stateKey);
    if (isOnPhone(message))
        setPending(message, VXPendingChange::Update);
    return true;
}

bool VXMoveMessageToFolder(const VXManagedObjectPtr &message, const VXManagedObjectPtr &targetFolder, bool copies,
                           QVariantMap *info)
{
    QVariantMap told{{u"message"_s, QVariant::fromValue(message)}};
    const VXManagedObjectPtr target =
        isKindOf(targetFolder, u"VXSmartDeviceFolder"_s) ? objectFor(targetFolder, u"deviceFolder"_s) : targetFolder;
    VXManagedObjectPtr filed = message;
    bool isDone = message && target;
    if (isDone && copies) {
        filed = copyOf(message, *target->managedObjectContext());
        told.insert(folderKey, QVariant::fromValue(target));
        told.insert(u"duplicate"_s, QVariant::fromValue(filed));
    } else if (isDone) {
        const VXManagedObjectPtr old = objectFor(message, folderKey);
        isDone = !old || old->objectID() != target->objectID();
        if (isDone && old)
            told.insert(folderKey, QVariant::fromValue(old));
        if (isDone && isKindOf(old, u"VXDeviceFolder"_s) && isOnPhone(message)) {
            filed = copyOf(message, *target->managedObjectContext());
            setPending(message, VXPendingChange::Remove);
            told.insert(u"message"_s, QVariant::fromValue(filed));
        }
    }
    if (isDone)
        file(filed, target);
    if (info != nullptr)
        *info = told;
    return isDone;
}
