#pragma once

#include "VXListQuery.h"
#include "VXMessageRecord.h"

#include <QtCore/QDateTime>

/** A message as it is shown. */
struct VXShownMessage
{
    VXMessageRecord message = {};
    QString who = {};          // name of the other party for people
    QString conversation = {}; // VXConversationKey
    // If it is to be sent:
    qint64 outboxNumber = 0; // 0: not in the outbox
    QString outboxState = {};
    bool isFailed = false;
    QString problem = {};
};
Q_DECLARE_METATYPE(VXShownMessage)

/** To be called on the thread of the message's context. */
[[nodiscard]] VXShownMessage VXShowMessage(const VXManagedObjectPtr &message);
/** The same. */
[[nodiscard]] bool VXIsInTrash(const VXManagedObjectPtr &message);
/** The message as a row of a list, with the other party in front; its contents carry the VXShownMessage. */
[[nodiscard]] VXListRow VXRowOfMessage(const VXManagedObjectPtr &message);
/**
 * Only the names from phonebook strings: "Jane Doe" for "Jane Doe <+1 555 0100>", all of them if there are several; the
 * number if there is no name.
 */
[[nodiscard]] QString VXNamesOf(const QString &phonebookStrings);
/** The same with the phonebook's names; "Unknown" if there is nobody. Any thread. */
[[nodiscard]] QString VXWhoOf(const QString &phonebookStrings);
