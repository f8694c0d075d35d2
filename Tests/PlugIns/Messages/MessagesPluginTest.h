#pragma once

#include "MessageDataConstants.h"
#include "MessagesPluginTestsPaths.h"
#include "VXMessageStore.h"
#include "VXOutbox.h"
#include "VXPluginManagerTesting.h"

#include <QtCore/QDir>
#include <QtCore/QProcess>

/** The plugins as they ship, with their stores in a fresh home folder. */
class MessagesPluginTest : public VXPluginManagerHomeTest
{
protected:
    MessagesPluginTest()
    {
        QDir().mkpath(shared());
        for (const QString &bundle : {QStringLiteral(VORNIX_MESSAGES_PLUGIN), QStringLiteral(VORNIX_OUTBOX_PLUGIN),
                                      QStringLiteral(VORNIX_TRIGGERS_PLUGIN)})
            EXPECT_EQ(QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-r"), bundle, shared()}), 0);
        startWith({});
        store = VXMessageStore::sharedStore();
    }

    /** What a folder shows, newest first: "STATE TEXT". */
    QStringList shownIn(const QString &folderTitle) const
    {
        VXManagedObjectContext context(store->coordinator());
        const VXManagedObjectPtr folder = store->folderForText(folderTitle, context);
        EXPECT_TRUE(folder) << folderTitle.toStdString();
        QStringList lines;
        const auto request = store->messagesOfFolder(folder);
        const auto found = context.executeFetchRequest(*request);
        for (const VXManagedObjectPtr &message : *found)
            lines.append(message->valueForKey(QStringLiteral("state")).toString() + u' ' +
                         message->valueForKey(QStringLiteral("text")).toString());
        return lines;
    }

    std::optional<VXMessageStore> store;
};
