#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObjectContext.h"
#include "VXMessageRecord.h"

#include <QtCore/QUrl>

#include <optional>

class VXStoreWorkLock;

/**
 * The store "messages" of the plugin that ships with the program: its folders and what they show, conversations, and
 * messages as records. Any thread; contexts and objects on the thread of their context.
 */
class VX_EXPORT VXMessageStore
{
public:
    static const QString storeName;  // "messages"
    static const QString entityName; // "VXMessage"

    /** None, logged, when the store is not available. On threads other than the main thread the first call waits for
     *  the main thread. */
    static std::optional<VXMessageStore> sharedStore();
    explicit VXMessageStore(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    const VXPersistentStoreCoordinator::Ptr &coordinator() const { return _coordinator; }

    // -- Folders
    /** The folder of a phone. If there is none yet, it is made, with the smart folders that show its messages, and
     *  saved; to do so, the lock for saving (VXStoreWorkLock) is taken. Null, with an error, when it cannot be saved.
     *  */
    [[nodiscard]] VXManagedObjectPtr deviceFolder(const QUrl &anyURL, VXManagedObjectContext &context,
                                                  VXError *error = nullptr) const;
    /** The same for callers that have that lock. Null, with an error, also when there is no folder and the lock is not
     *  held. */
    [[nodiscard]] VXManagedObjectPtr deviceFolder(const QUrl &anyURL, VXManagedObjectContext &context,
                                                  const VXStoreWorkLock &saving, VXError *error = nullptr) const;
    /** The folders in the order in which they are shown: the root folders, the user's own, including smart ones, and
     *  those of phones. Smart folders without a name are left out: they are only a part of what their root folder
     *  shows. */
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>> folders(VXManagedObjectContext &context,
                                                                   VXError *error = nullptr) const;
    /** The title to show: a root folder's root name, a phone's URL, otherwise the name. */
    static QString folderTitle(const VXManagedObjectPtr &folder);
    /** The folder with that title, ignoring case, or with that URI; null for none. */
    [[nodiscard]] VXManagedObjectPtr folderForText(const QString &text, VXManagedObjectContext &context) const;

    // -- The user's own folders. Nothing is saved. Null or false, with the reason, for a name that is empty or taken,
    // and for folders that are not the user's.
    [[nodiscard]] VXManagedObjectPtr insertFolder(const QString &name, VXManagedObjectContext &context,
                                                  VXError *error = nullptr) const;
    /** Makes a folder that shows the messages of a phone's folder that meet the condition, and contains none itself. */
    [[nodiscard]] VXManagedObjectPtr insertSmartFolder(const QString &name, const VXManagedObjectPtr &deviceFolder,
                                                       const VXPredicate &condition, VXError *error = nullptr) const;
    bool renameFolder(const VXManagedObjectPtr &folder, const QString &name, VXError *error = nullptr) const;
    /** Moves its messages to the trash, and the folders in it up. The folder of a phone can be removed as well: the
     *  next sync makes it anew. */
    bool removeFolder(const VXManagedObjectPtr &folder, VXError *error = nullptr) const;
    /** Sets what a smart folder shows of its phone's messages. */
    static void setFilter(const VXManagedObjectPtr &smartFolder, const VXPredicate &condition);

    // -- The messages in folders, newest first, without those that were moved off a phone and only wait to be removed
    // there
    /** The messages of a folder; of a smart folder those that its filter accepts; also those that smart folders below
     *  it show. None, with the reason, when a filter does not work. */
    [[nodiscard]] std::optional<VXFetchRequest> messagesOfFolder(const VXManagedObjectPtr &folder,
                                                                 VXError *error = nullptr) const;
    /** Conditions of which a message has to meet any one to be shown in the folder. None, with the reason, when a
     *  filter does not work. */
    [[nodiscard]] std::optional<QList<VXPredicate>> conditionsOfFolder(const VXManagedObjectPtr &folder,
                                                                       VXError *error = nullptr) const;
    /** The newest of them, at most so many: a short list takes no longer for a large folder than for a small one. */
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>>
    newestOfFolder(const VXManagedObjectPtr &folder, qsizetype limit, VXError *error = nullptr) const;
    /** The messages exchanged with one other party, in both directions (VXConversationKey): one indexed fetch. */
    [[nodiscard]] VXFetchRequest messagesOfConversation(const QString &conversation) const;
    /** The same for somebody with several numbers and addresses. */
    [[nodiscard]] VXFetchRequest messagesOfConversations(const QStringList &conversations) const;
    /** The newest of them, at most so many. */
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>> newestOfConversations(const QStringList &conversations,
                                                                                 qsizetype limit,
                                                                                 VXManagedObjectContext &context,
                                                                                 VXError *error = nullptr) const;

    // -- Messages
    /** The name of the root folder for a message that is on no phone. */
    static QString rootFolderFor(const VXMessageRecord &record);
    /** Makes a new message in a folder, in the folder's context. */
    static VXManagedObjectPtr insertMessage(const VXMessageRecord &record, const VXManagedObjectPtr &folder);
    /** Deletes the message permanently when its context is saved. A message on a phone is no longer shown, and removed
     *  there by the next sync. */
    static void deleteMessage(const VXManagedObjectPtr &message);
    /** Permanently deletes the messages in the trash, and saves that in portions. @return how many; none, with an
     *  error, when they cannot be read or saved; portions saved before remain deleted. */
    std::optional<qsizetype> emptyTrash(VXError *error = nullptr) const;
    /** All messages with the same direction, party, text and exactly that date, in any state, in that folder, or in any
     *  if it is null; none when they cannot be read. */
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>> findMessages(const VXMessageRecord &record,
                                                                        const VXManagedObjectPtr &folder,
                                                                        VXManagedObjectContext &context,
                                                                        VXError *error = nullptr) const;

private:
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>> newest(const QList<VXPredicate> &conditions, qsizetype limit,
                                                                  VXManagedObjectContext &context,
                                                                  VXError *error) const;
    bool isFreeName(const QString &name, VXManagedObjectContext &context, VXError *error) const;

    VXPersistentStoreCoordinator::Ptr _coordinator;
};
