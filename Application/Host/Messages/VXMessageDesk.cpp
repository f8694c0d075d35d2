#include "VXMessageDesk.h"

#include "MessageDataConstants.h"
#include "VXDeviceNamed.h"

using namespace Qt::StringLiterals;

namespace {

// The message on the phone, until the next sync, if its copy is elsewhere.
bool isGoneFromPhone(const VXManagedObjectPtr &message)
{
    return message->valueForKey(u"pending"_s).toInt() == static_cast<int>(VXPendingChange::Remove);
}

// The newest message that is the same but not on a phone. Null if there is none.
VXManagedObjectPtr copyOf(const VXManagedObjectPtr &message, VXManagedObjectContext &context)
{
    VXFetchRequest request(message->entity());
    QList<VXPredicate> all{*VXPredicate::predicateWithFormat(u"url == NULL"_s)};
    for (const QString &key : {u"date"_s, u"text"_s, u"from"_s, u"to"_s, u"direction"_s})
        all.append(VXPredicate::comparison(VXExpression::keyPath(key), VXPredicate::Operator::Equal,
                                           VXExpression::constant(message->valueForKey(key))));
    request.predicate = VXPredicate::allOf(all);
    const auto found = context.executeFetchRequest(request);
    VXManagedObjectPtr copy;
    if (!found)
        return copy;
    for (const VXManagedObjectPtr &each : *found) {
        if (each->objectID().number() > (copy ? copy->objectID().number() : message->objectID().number()))
            copy = each;
    }
    return copy;
}

} // namespace

VXManagedObjectPtr VXMessageDesk::folderNamed(const QString &text) const
{
    VXManagedObjectPtr folder = store.folderForText(text, context);
    if (const QUrl device = folder ? QUrl() : VXDeviceWithName(text); !device.isEmpty())
        folder = VXFetchDeviceFolder(device, &context);
    if (!folder)
        fail(u"there is no folder \"%1\"; \"vornix messages folders\" shows those there are"_s.arg(text));
    return folder;
}

VXManagedObjectPtr VXMessageDesk::messageNamed(const QString &text) const
{
    const VXPersistentStoreCoordinator &coordinator = *store.coordinator();
    bool isNumber = false;
    const qint64 number = text.startsWith(u'p') ? text.sliced(1).toLongLong(&isNumber) : 0;
    const VXManagedObjectID known =
        isNumber ? VXManagedObjectID(*coordinator.model().entityForName(VXMessageStore::entityName),
                                     coordinator.persistentStores().constFirst()->identity(), number)
                 : coordinator.objectIDForURIRepresentation(QUrl(text));
    const bool isMessage = !known.isNull() && known.entity().name() == VXMessageStore::entityName;
    VXManagedObjectPtr message = isMessage ? context.existingObjectWithID(known) : VXManagedObjectPtr();
    if (!message)
        fail(u"there is no message \"%1\""_s.arg(text));
    if (!message || !isGoneFromPhone(message))
        return message;
    const VXManagedObjectPtr copy = copyOf(message, context);
    if (copy)
        host.output.note(u"%1 was moved off its phone, and is p%2 now"_s.arg(text).arg(copy->objectID().number()));
    else
        fail(u"%1 was moved off its phone, and goes with the next \"vornix sync\""_s.arg(text));
    return copy;
}

QList<VXManagedObjectPtr> VXMessageDesk::messagesNamed(const QStringList &texts) const
{
    QList<VXManagedObjectPtr> messages;
    for (const QString &text : texts) {
        const VXManagedObjectPtr message = messageNamed(text);
        if (!message)
            return {};
        if (!messages.contains(message))
            messages.append(message);
    }
    return messages;
}

int VXMessageDesk::saveAndAnswer(const QString &text, const QJsonObject &json) const
{
    VXError error;
    if (context.hasChanges() && !context.save(&error))
        return fail(error);
    host.output.answer(text, json);
    return VXHostOutput::Done;
}

QString VXURIOfObject(const VXManagedObjectPtr &object)
{
    return object->objectID().uriRepresentation().toString();
}
