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
