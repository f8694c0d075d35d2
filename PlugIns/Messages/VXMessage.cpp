#include "VXMessage.h"

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
    return values;
}
