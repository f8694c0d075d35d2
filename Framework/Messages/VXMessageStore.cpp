#include "VXMessageStore.h"

#include "MessageDataConstants.h"
#include "VXConversationKey.h"
#include "VXDataManager.h"
#include "VXDeviceURL.h"
#include "VXMessageMatch.h"
#include "VXSmartFilter.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QSet>

#include <algorithm>
#include <functional>
#include <limits>

using namespace Qt::StringLiterals;

using Folder = VXManagedObjectPtr;
using Operator = VXPredicate::Operator;

const QString VXMessageStore::storeName = u"messages"_s;
const QString VXMessageStore::entityName = u"VXMessage"_s;

namespace {

const QString folderKey = u"folder"_s;
const QString smartEntity = u"VXSmartDeviceFolder"_s;

Folder folderOf(const Folder &object, const QString &key)
{
    return object->valueForKey(key).value<Folder>();
}

// Which messages of a phone a root folder shows.
struct Shown
{
    QString rootName;
    QString condition;
};
const QList<Shown> &shownInRootFolders()
{
    static const QList<Shown> shown{{VXInboxFolder, u"direction == 1"_s},
                                    {VXSentFolder, u"direction == 0 AND state != 0"_s},
                                    {VXDraftsFolder, u"direction == 0 AND state == 0"_s}};
    return shown;
}

void addSmartFolders(const Folder &device, VXManagedObjectContext &context)
{
    for (const Shown &shown : shownInRootFolders()) {
        const Folder smart = context.insertNewObject(smartEntity);
        smart->setValueForKey(QVariant::fromValue(device), u"deviceFolder"_s);
        smart->setValueForKey(QVariant::fromValue(VXFetchRootFolder(shown.rootName, &context)), u"parent"_s);
        VXMessageStore::setFilter(smart, *VXPredicate::predicateWithFormat(shown.condition));
    }
}

// Whether the user has named the smart folder; the others are only a part of what their root folder shows.
bool isOfItsOwn(const Folder &smart)
{
    return !smart->valueForKey(u"name"_s).toString().isEmpty();
}

// The condition for a message to be shown by the folder itself, not by those below. None, with the reason, if there is
// no valid one.
std::optional<VXPredicate> conditionOf(const Folder &folder, VXError *error)
{
    if (folder->entity().name() != smartEntity)
        return VXPredicate::comparison(folderKey, Operator::Equal, QVariant::fromValue(folder));
    const VXPredicate isThere =
        VXPredicate::comparison(folderKey, Operator::Equal, QVariant::fromValue(folderOf(folder, u"deviceFolder"_s)));
    const VXManagedObjectPtr filter = folderOf(folder, u"filter"_s);
    const auto *const conditions = dynamic_cast<const VXSmartFilter *>(filter.get());
    const std::optional<VXPredicate> predicate = conditions ? conditions->predicate(error) : VXPredicate();
    return predicate ? std::optional(VXPredicate::allOf({isThere, *predicate})) : std::nullopt;
}

// Without messages that were moved off a phone and only wait to be removed there: their copies are shown.
VXFetchRequest newestFirst(const VXPersistentStoreCoordinator &coordinator, const VXPredicate &predicate)
{
    VXFetchRequest request(*coordinator.model().entityForName(VXMessageStore::entityName));
    const int removed = static_cast<int>(VXPendingChange::Remove);
    request.predicate =
        VXPredicate::allOf({predicate, VXPredicate::comparison(VXExpression::keyPath(u"pending"_s), Operator::NotEqual,
                                                               VXExpression::constant(removed))});
    request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
    return request;
}

QVariant noneOr(const QString &text)
{
    return text.isNull() ? QVariant() : QVariant(text);
}

QVariant noneOr(const QDateTime &date)
{
    return date.isValid() ? QVariant(date.toUTC()) : QVariant();
}

} // namespace

std::optional<VXMessageStore> VXMessageStore::sharedStore()
{
    const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(storeName);
    return coordinator ? std::optional(VXMessageStore(coordinator)) : std::nullopt;
}

// -- Folders

VXManagedObjectPtr VXMessageStore::deviceFolder(const QUrl &anyURL, VXManagedObjectContext &context,
                                                VXError *error) const
{
    if (Folder found = VXFetchDeviceFolder(anyURL, &context))
        return found;
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    return deviceFolder(anyURL, context, saving, error);
}

// Under the lock, as otherwise two threads, or programs, might both find that a phone has no folder.
VXManagedObjectPtr VXMessageStore::deviceFolder(const QUrl &anyURL, VXManagedObjectContext &context,
                                                const VXStoreWorkLock &saving, VXError *error) const
{
    if (Folder found = VXFetchDeviceFolder(anyURL, &context))
        return found;
    if (!saving.isHeld(error))
        return {};
    VXManagedObjectContext own(_coordinator); // so that the caller's changes are not saved along
    const Folder folder = own.insertNewObject(u"VXDeviceFolder"_s);
    folder->setValueForKey(VXAbsoluteString(VXGetDeviceURLFromURL(anyURL)), u"url_search"_s);
    addSmartFolders(folder, own);
    return own.save(error) ? context.existingObjectWithID(folder->objectID(), error) : Folder();
}

std::optional<QList<VXManagedObjectPtr>> VXMessageStore::folders(VXManagedObjectContext &context, VXError *error) const
{
    const VXFetchRequest request(*_coordinator->model().entityForName(u"VXMessageFolder"_s));
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<Folder> folders;
    for (const Folder &folder : *found) {
        if (folder->entity().name() != smartEntity || isOfItsOwn(folder))
            folders.append(folder);
    }
    const auto place = [](const Folder &folder) {
        const QStringList order{u"VXRootFolder"_s, u"VXUserFolder"_s, smartEntity, u"VXDeviceFolder"_s};
        return std::tuple(order.indexOf(folder->entity().name()), folder->valueForKey(u"index"_s).toInt(),
                          folderTitle(folder));
    };
    std::ranges::sort(folders, {}, place);
    return folders;
}

QString VXMessageStore::folderTitle(const VXManagedObjectPtr &folder)
{
    for (const QString &key : {u"name"_s, u"root_name"_s, u"url_search"_s}) {
        const bool hasKey = folder->entity().propertyForName(key) != nullptr;
        if (const QString title = hasKey ? folder->valueForKey(key).toString() : QString(); !title.isEmpty())
            return title;
    }
    return {};
}

VXManagedObjectPtr VXMessageStore::folderForText(const QString &text, VXManagedObjectContext &context) const
{
    const VXManagedObjectID named = _coordinator->objectIDForURIRepresentation(QUrl(text));
    const VXEntityDescription &kind = *_coordinator->model().entityForName(u"VXMessageFolder"_s);
    if (!named.isNull() && named.entity().isKindOfEntity(kind))
        return context.existingObjectWithID(named);
    const QList<Folder> all = folders(context).value_or(QList<Folder>());
    const auto found = std::ranges::find_if(
        all, [&](const Folder &folder) { return folderTitle(folder).compare(text, Qt::CaseInsensitive) == 0; });
    return found == all.end() ? Folder() : *found;
}

// -- What is in them

std::optional<QList<VXPredicate>> VXMessageStore::conditionsOfFolder(const VXManagedObjectPtr &folder,
                                                                     VXError *error) const
{
    QList<VXPredicate> conditions;
    QList<Folder> shown{folder};
    for (const VXManagedObjectPtr &child :
         folder->relatedObjects(folder->entity().propertyForName(u"children"_s)->index())) {
        if (child->entity().name() == smartEntity && !isOfItsOwn(child))
            shown.append(child);
    }
    for (const Folder &each : std::as_const(shown)) {
        const std::optional<VXPredicate> condition = conditionOf(each, error);
        if (!condition)
            return std::nullopt;
        conditions.append(*condition);
    }
    return conditions;
}

// Fetches each condition separately, in the order of dates from the index; a combined request would have to sort
// everything.
std::optional<QList<VXManagedObjectPtr>> VXMessageStore::newest(const QList<VXPredicate> &conditions, qsizetype limit,
                                                                VXManagedObjectContext &context, VXError *error) const
{
    QList<VXManagedObjectPtr> messages;
    QSet<VXManagedObjectID> known;
    for (const VXPredicate &condition : conditions) {
        VXFetchRequest request = newestFirst(*_coordinator, condition);
        request.limit = limit;
        const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
        if (!found)
            return std::nullopt;
        for (const VXManagedObjectPtr &message : *found) {
            if (known.contains(message->objectID()))
                continue;
            known.insert(message->objectID());
            messages.append(message);
        }
    }
    if (conditions.size() > 1) {
        const int date = messages.isEmpty() ? 0 : messages.constFirst()->entity().propertyForName(u"date"_s)->index();
        const auto place = [date](const VXManagedObjectPtr &message) { // the same order as that of a single request
            const QDateTime when = message->attribute(date).toDateTime();
            return std::pair(when.isValid() ? -when.toMSecsSinceEpoch() : std::numeric_limits<qint64>::max(),
                             message->objectID().number());
        };
        std::ranges::sort(messages, {}, place);
    }
    return limit > 0 ? messages.mid(0, limit) : messages;
}

std::optional<VXFetchRequest> VXMessageStore::messagesOfFolder(const VXManagedObjectPtr &folder, VXError *error) const
{
    const auto conditions = conditionsOfFolder(folder, error);
    if (!conditions)
        return std::nullopt;
    return newestFirst(*_coordinator, conditions->size() == 1 ? conditions->first() : VXPredicate::anyOf(*conditions));
}

std::optional<QList<VXManagedObjectPtr>> VXMessageStore::newestOfFolder(const VXManagedObjectPtr &folder,
                                                                        qsizetype limit, VXError *error) const
{
    const auto conditions = conditionsOfFolder(folder, error);
    return conditions ? newest(*conditions, limit, *folder->managedObjectContext(), error) : std::nullopt;
}

std::optional<QList<VXManagedObjectPtr>> VXMessageStore::newestOfConversations(const QStringList &conversations,
                                                                               qsizetype limit,
                                                                               VXManagedObjectContext &context,
                                                                               VXError *error) const
{
    QList<VXPredicate> conditions;
    for (const QString &conversation : conversations)
        conditions.append(VXPredicate::comparison(u"conversation"_s, Operator::Equal, noneOr(conversation)));
    return newest(conditions, limit, context, error);
}

VXFetchRequest VXMessageStore::messagesOfConversation(const QString &conversation) const
{
    return newestFirst(*_coordinator,
                       VXPredicate::comparison(u"conversation"_s, Operator::Equal, noneOr(conversation)));
}

VXFetchRequest VXMessageStore::messagesOfConversations(const QStringList &conversations) const
{
    if (conversations.size() == 1)
        return messagesOfConversation(conversations.constFirst());
    const QVariantList keys(conversations.cbegin(), conversations.cend());
    return newestFirst(*_coordinator, VXPredicate::comparison(VXExpression::keyPath(u"conversation"_s), Operator::In,
                                                              VXExpression::constant(keys)));
}

// -- Messages

QString VXMessageStore::rootFolderFor(const VXMessageRecord &record)
{
    return record.isIncoming()                              ? VXInboxFolder
           : record.state == VXMessageRecord::State::Unsent ? VXDraftsFolder
                                                            : VXSentFolder;
}

VXManagedObjectPtr VXMessageStore::insertMessage(const VXMessageRecord &record, const VXManagedObjectPtr &folder)
{
    const VXManagedObjectPtr message = folder->managedObjectContext()->insertNewObject(entityName);
    message->setValueForKey(noneOr(record.text), u"text"_s);
    message->setValueForKey(noneOr(record.date), u"date"_s);
    message->setValueForKey(static_cast<int>(record.state), u"state"_s);
    message->setValueForKey(static_cast<int>(record.direction), u"direction"_s);
    message->setValueForKey(noneOr(record.from), u"from"_s);
    message->setValueForKey(noneOr(record.to), u"to"_s);
    message->setValueForKey(noneOr(record.deviceURL), u"device_url"_s);
    message->setValueForKey(noneOr(record.url), u"url"_s);
    message->setValueForKey(QVariant::fromValue(folder), folderKey);
    return message;
}

std::optional<QList<VXManagedObjectPtr>> VXMessageStore::findMessages(const VXMessageRecord &record,
                                                                      const VXManagedObjectPtr &folder,
                                                                      VXManagedObjectContext &context,
                                                                      VXError *error) const
{
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    QList<VXPredicate> conditions{
        VXPredicate::comparison(u"conversation"_s, Operator::Equal, noneOr(VXConversationKey(record.otherParty()))),
        VXPredicate::comparison(u"date"_s, Operator::Equal, noneOr(record.date))};
    if (folder)
        conditions.append(VXPredicate::comparison(folderKey, Operator::Equal, QVariant::fromValue(folder)));
    // Where a phone gives all its messages one date, those of other texts are many.
    const auto hasText = [](const QVariant &text) { return VXPredicate::comparison(u"text"_s, Operator::Equal, text); };
    conditions.append(VXPredicate::comparison(u"direction"_s, Operator::Equal, static_cast<int>(record.direction)));
    conditions.append(record.text.isEmpty() ? VXPredicate::anyOf({hasText(u""_s), hasText({})}) : hasText(record.text));
    request.predicate = VXPredicate::allOf(conditions);
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<VXManagedObjectPtr> same;
    for (const VXManagedObjectPtr &message : *found) {
        if (VXMessageMatch::isAlike(record, VXMessageRecord(QVariant::fromValue(message))))
            same.append(message);
    }
    return same;
}
