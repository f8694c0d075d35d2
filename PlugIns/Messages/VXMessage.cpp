#include "VXMessage.h"

#include "MessageDataConstants.h"
#include "VXConversationKey.h"

using namespace Qt::StringLiterals;

void VXMessage::willSave()
{
    VXRecordObject::willSave();
    if (isDeleted())
        return;
    const QString key = u"conversation"_s;
    const QString conversation = VXConversationKey(VXPhonebookRecord::otherParty(*this));
    if (valueForKey(key).toString() != conversation)
        setValueForKey(conversation.isNull() ? QVariant() : QVariant(conversation), key);
}

std::optional<QVariantMap> VXMessage::metaDataPlist() const
{
    QVariantMap values = VXPhonebookRecord::searchMetaData(*this, u"message"_s);
    const QVariant text = valueForKey(u"text"_s);
    values.insert(u"kMDItemTextContent"_s, text);
    values.insert(u"kMDItemDescription"_s,
                  text.isValid() ? QVariant(text.toString().simplified().left(200)) : QVariant());
    values.insert(u"VXHidden"_s, hiding());
    return values;
}

// A message that waits to be removed from a phone is already at another place, or nowhere.
QVariant VXMessage::hiding() const
{
    if (valueForKey(u"pending"_s).toInt() == int(VXPendingChange::Remove))
        return int(VXMetaDataHiding::Removed);
    const QString rootName = u"root_name"_s;
    const VXManagedObjectPtr folder = related(entity().propertyForName(u"folder"_s)->index());
    const bool isOfRoot = folder && folder->entity().attributeForName(rootName) != nullptr;
    return isOfRoot && folder->valueForKey(rootName) == VXTrashFolder ? int(VXMetaDataHiding::InTrash) : QVariant();
}
