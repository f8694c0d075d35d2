#include "VXFolderUnion.h"

#include "MessageDataConstants.h"
#include "VXConversationKey.h"
#include "VXMessageRecord.h"
#include "VXSmartFilter.h"

#include <QtCore/QHash>

using namespace Qt::StringLiterals;

using Folder = VXManagedObjectPtr;
using Message = VXManagedObjectPtr;

namespace {

const QString deviceEntity = u"VXDeviceFolder"_s;
const QString pendingKey = u"pending"_s;
const QString stateKey = u"state"_s;

int indexOf(const VXManagedObjectPtr &object, const QString &key)
{
    return object->entity().propertyForName(key)->index();
}

QString textOf(const VXManagedObjectPtr &object, const QString &key)
{
    return object->valueForKey(key).toString();
}

// The object to which another one is related, as text.
QString linkOf(const VXManagedObjectPtr &object, const QString &key)
{
    const auto other = object->valueForKey(key).value<VXManagedObjectPtr>();
    return other ? other->objectID().uriRepresentation().toString() : QString();
}

// What a smart folder lets through; null if that cannot be determined.
QString conditionOf(const Folder &smart)
{
    const auto object = smart->valueForKey(u"filter"_s).value<VXManagedObjectPtr>();
    const auto *const filter = dynamic_cast<const VXSmartFilter *>(object.get());
    const std::optional<VXPredicate> predicate = filter ? filter->predicate() : VXPredicate();
    return predicate ? predicate->predicateFormat() + u' ' : QString();
}

// Two folders of one kind with the same identity are united; none: it is like no other.
QStringList identityOf(const Folder &folder)
{
    const QString kind = folder->entity().name();
    if (kind == "VXRootFolder"_L1)
        return {textOf(folder, u"root_name"_s)};
    if (kind == deviceEntity)
        return {textOf(folder, u"url_search"_s)};
    const QString name = textOf(folder, u"name"_s);
    if (kind == "VXUserFolder"_L1)
        return name.isEmpty() ? QStringList() : QStringList{name.toCaseFolded(), linkOf(folder, u"parent"_s)};
    const QString condition = conditionOf(folder);
    return condition.isEmpty() ? QStringList()
                               : QStringList{name.toCaseFolded(), linkOf(folder, u"parent"_s),
                                             linkOf(folder, u"deviceFolder"_s), condition};
}

// Where on the phone a message is, and what it says.
QStringList identityOfMessage(const Message &message)
{
    const VXMessageRecord record(QVariant::fromValue(message));
    return {textOf(message, u"url"_s), QString::number(static_cast<int>(record.direction)),
            record.date.isValid() ? QString::number(record.date.toMSecsSinceEpoch()) : QString(),
            VXConversationKey(record.otherParty()), record.text};
}

bool is(const Message &message, VXPendingChange change)
{
    return message->valueForKey(pendingKey).toInt() == static_cast<int>(change);
}

// What the user did to either counts for the message.
void learn(const Message &kept, const Message &other)
{
    const int read = static_cast<int>(VXMessageRecord::State::Read);
    if (kept->valueForKey(stateKey).toInt() == static_cast<int>(VXMessageRecord::State::Unread) &&
        other->valueForKey(stateKey).toInt() == read)
        kept->setValueForKey(read, stateKey);
    for (const VXPendingChange change : {VXPendingChange::Remove, VXPendingChange::Update}) {
        if (is(kept, change))
            return;
        if (is(other, change))
            return kept->setValueForKey(static_cast<int>(change), pendingKey);
    }
}

// Each message of one folder matches at most one of the other: somebody may have received the same text twice.
void uniteMessages(const Folder &kept, const Folder &other)
{
    QMultiHash<QStringList, Message> known;
    for (const Message &message : kept->relatedObjects(indexOf(kept, u"messages"_s)))
        known.insert(identityOfMessage(message), message);
    for (const Message &message : other->relatedObjects(indexOf(other, u"messages"_s))) {
        const auto same = known.find(identityOfMessage(message));
        if (same == known.end())
            continue;
        learn(*same, message);
        known.erase(same);
        message->managedObjectContext()->deleteObject(message);
    }
}

void unite(const Folder &kept, const Folder &other)
{
    const bool isOfPhone = kept->entity().name() == deviceEntity;
    if (isOfPhone)
        uniteMessages(kept, other);
    for (const QString &key : isOfPhone ? QStringList{u"messages"_s, u"children"_s, u"smartFolders"_s}
                                        : QStringList{u"messages"_s, u"children"_s}) {
        for (const VXManagedObjectPtr &each : other->relatedObjects(indexOf(other, key))) {
            if (!each->isDeleted())
                kept->addRelated(indexOf(kept, key), each);
        }
    }
    other->managedObjectContext()->deleteObject(other);
}

// Whether any were united.
std::optional<bool> uniteKind(const QString &entity, VXManagedObjectContext &context, VXError *error)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(entity));
    const std::optional<VXFetchResult> folders = context.executeFetchRequest(request, error);
    if (!folders)
        return std::nullopt;
    QHash<QStringList, Folder> known;
    bool isAny = false;
    for (const Folder &folder : *folders) {
        const QStringList identity = identityOf(folder);
        if (identity.isEmpty())
            continue;
        if (const auto same = known.constFind(identity); same != known.cend()) {
            unite(*same, folder);
            isAny = true;
        } else {
            known.insert(identity, folder);
        }
    }
    return isAny;
}

} // namespace

// Folders inside others come after those, because they become the same once they have the same place.
bool VXUniteFolders(VXManagedObjectContext &context, VXError *error)
{
    std::optional<bool> isAny = uniteKind(u"VXRootFolder"_s, context, error);
    if (isAny)
        isAny = uniteKind(deviceEntity, context, error);
    do {
        if (isAny)
            isAny = uniteKind(u"VXUserFolder"_s, context, error);
    } while (isAny.value_or(false)); // again for folders inside each other
    return isAny && uniteKind(u"VXSmartDeviceFolder"_s, context, error);
}
