#include "VXMessageDesk.h"

#include "MessageDataConstants.h"
#include "VXDeviceNamed.h"

using namespace Qt::StringLiterals;

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
    return message;
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
