#pragma once

#include "VXMessageStore.h"

#include <QtCore/QList>

#include <utility>

/** What is shown of the messages as a whole. */
struct VXMessagesOverview
{
    QList<std::pair<QString, VXManagedObjectID>> folders = {}; // by VXMessageStore::folderTitle, in the order of people
    int unread = 0;                                            // but for those in the trash
};

/** Any thread. */
[[nodiscard]] VXMessagesOverview VXReadMessagesOverview(const VXMessageStore &store);
