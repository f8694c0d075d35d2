#include "VXMessageText.h"

#include "MessageDataConstants.h"
#include "VXAvatar.h"
#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXMessageStore.h"
#include "VXPhonebookList.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookRecord.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumberFormat.h"
#include "VXRowDelegate.h"

using namespace Qt::StringLiterals;

QString VXNamesOf(const QString &phonebookStrings)
{
    QStringList names;
    for (const QString &item : VXUnpackPhonebookStrings(phonebookStrings, true)) {
        QString name;
        QString value;
        if (!VXPhonebookStringSplit(item, &name, &value))
            name = item;
        names.append(name.isEmpty() ? VXFormatPhoneNumber(value) : name);
    }
    return names.join(", "_L1);
}

QString VXWhoOf(const QString &phonebookStrings)
{
    const QString names = VXNamesOf(VXDisplayStringForContacts(phonebookStrings));
    return names.isEmpty() ? VXText("Unknown") : names;
}

VXShownMessage VXShowMessage(const VXManagedObjectPtr &message)
{
    VXShownMessage shown;
    shown.message = VXMessageRecord(QVariant::fromValue(message));
    shown.conversation = message->valueForKey(u"conversation"_s).toString();
    shown.who = VXWhoOf(shown.message.otherParty());
    return shown;
}

bool VXIsInTrash(const VXManagedObjectPtr &message)
{
    const auto folder = message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>();
    return folder && VXMessageStore::folderTitle(folder) == VXTrashFolder;
}

VXListRow VXRowOfMessage(const VXManagedObjectPtr &message)
{
    const VXShownMessage shown = VXShowMessage(message);
    const bool isUnread = shown.message.state == VXMessageRecord::State::Unread;
    const bool isMine = !shown.message.isIncoming();
    VXRowContents contents;
    contents.title = shown.who;
    contents.person = shown.who;
    contents.picture = VXSquarePicture(
        VXPhonebookManager::sharedPhonebookManager().imageForPhonebookString(shown.message.otherParty()), 80);
    contents.detail = isMine ? VXText("You: %1").arg(shown.message.text) : shown.message.text;
    contents.when = VXTextOfDate(shown.message.date, VXDateStyle::Short);
    contents.isStrong = isUnread;
    if (isMine && shown.message.state == VXMessageRecord::State::Unsent) {
        contents.mark = VXText("Not sent");
        contents.markTone = VXRowContents::Tone::Warning;
    }
    contents.data = QVariant::fromValue(shown);
    QStringList spoken{isUnread ? VXText("Unread, %1").arg(shown.who) : shown.who, contents.detail.simplified(),
                       contents.mark, VXTextOfDate(shown.message.date)};
    spoken.removeAll(QString());
    return {.text = spoken.join(", "_L1), .value = QVariant::fromValue(contents)};
}
