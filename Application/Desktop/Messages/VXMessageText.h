#pragma once

#include "VXListQuery.h"
#include "VXMessageRecord.h"

#include <QtCore/QDateTime>

/** A message as it is shown. */
struct VXShownMessage
{
    VXMessageRecord message = {};
    QString who = {};          // what people call the other party
    QString conversation = {}; // VXConversationKey
    // Of one that is to be sent:
    qint64 outboxNumber = 0; // 0: it is not in the outbox
    QString outboxState = {};
    bool isFailed = false;
    QString problem = {};
};
Q_DECLARE_METATYPE(VXShownMessage)

/** On the thread of the message's context. */
[[nodiscard]] VXShownMessage VXShowMessage(const VXManagedObjectPtr &message);
/** As a row of a list, with the other party in front; its contents carry the VXShownMessage. */
[[nodiscard]] VXListRow VXRowOfMessage(const VXManagedObjectPtr &message);
/** The name alone of what people call somebody: "Jane Doe" of "Jane Doe <+1 555 0100>", of several all; else the number. */
[[nodiscard]] QString VXNamesOf(const QString &phonebookStrings);
/** The same by the phonebook's names; "Unknown" of nobody. Any thread. */
[[nodiscard]] QString VXWhoOf(const QString &phonebookStrings);
