#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObjectContext.h"
#include "VXMessageRecord.h"

#include <QtCore/QUrl>

#include <optional>

class VXStoreWorkLock;

/**
 * The store "messages" of the plugin that ships: its folders, what they show, conversations, and messages as records. Any
 * thread; contexts and objects on the thread of their context.
 */
class VX_EXPORT VXMessageStore
{
public:
    static const QString storeName;  // "messages"
    static const QString entityName; // "VXMessage"

    /** None, logged, when the store is not there. On another thread than the main one the first call waits for that. */
    static std::optional<VXMessageStore> sharedStore();
    explicit VXMessageStore(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    const VXPersistentStoreCoordinator::Ptr &coordinator() const { return _coordinator; }

    // -- Folders
    /** The folder of a phone, made with the smart folders that show what lies in it, and saved, when it has none yet. Null,
     *  with an error, when that cannot be saved. Takes the lock of saving (VXStoreWorkLock) to make it. */
    [[nodiscard]] VXManagedObjectPtr deviceFolder(const QUrl &anyURL, VXManagedObjectContext &context,
                                                  VXError *error = nullptr) const;
    /** The same, for who has that lock. Null, with an error, also when it is not held and there is none. */
    [[nodiscard]] VXManagedObjectPtr deviceFolder(const QUrl &anyURL, VXManagedObjectContext &context,
                                                  const VXStoreWorkLock &saving, VXError *error = nullptr) const;
    /** In the order in which people see them: the root folders, the user's own, smart ones among them, and the phones'. Smart
     *  ones without a name are left out: they only belong to what their root folder shows. */
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>> folders(VXManagedObjectContext &context,
                                                                   VXError *error = nullptr) const;
    /** What people call it: a root folder's root name, a phone's URL, else its name. */
    static QString folderTitle(const VXManagedObjectPtr &folder);
    /** The folder with that title, in any case of letters, or that URI; null for none. */
    [[nodiscard]] VXManagedObjectPtr folderForText(const QString &text, VXManagedObjectContext &context) const;

    // -- The user's own folders. Nothing is saved; null or false, with the reason, for a name that is empty or taken, and for
    //    folders that are not the user's.
    [[nodiscard]] VXManagedObjectPtr insertFolder(const QString &name, VXManagedObjectContext &context,
                                                  VXError *error = nullptr) const;
    /** One that shows what of a phone's folder meets the condition, and holds nothing itself. */
    [[nodiscard]] VXManagedObjectPtr insertSmartFolder(const QString &name, const VXManagedObjectPtr &deviceFolder,
                                                       const VXPredicate &condition, VXError *error = nullptr) const;
    bool renameFolder(const VXManagedObjectPtr &folder, const QString &name, VXError *error = nullptr) const;
    /** What it holds goes to the trash, folders below it go up. A phone's folder may go too: the next sync makes it anew. */
    bool removeFolder(const VXManagedObjectPtr &folder, VXError *error = nullptr) const;
    /** What a smart folder shows of its phone's from now on. */
    static void setFilter(const VXManagedObjectPtr &smartFolder, const VXPredicate &condition);

    // -- What is in them, newest first, but for what was moved off a phone and only waits to be removed there
    /** The messages of a folder; of a smart one what its filter lets through, and of any folder also what the smart ones
     *  below it show. None, with the reason, when a filter does not work. */
    [[nodiscard]] std::optional<VXFetchRequest> messagesOfFolder(const VXManagedObjectPtr &folder,
                                                                 VXError *error = nullptr) const;
    /** Conditions under which a folder shows messages, any of which does. None, with the reason, when a filter does not work. */
    [[nodiscard]] std::optional<QList<VXPredicate>> conditionsOfFolder(const VXManagedObjectPtr &folder,
                                                                       VXError *error = nullptr) const;
    /** The newest of them, so many at most: a short list of a large folder takes no longer than of a small one. */
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>>
    newestOfFolder(const VXManagedObjectPtr &folder, qsizetype limit, VXError *error = nullptr) const;
    /** The messages with one other party, whichever way they went (VXConversationKey): one indexed fetch. */
    [[nodiscard]] VXFetchRequest messagesOfConversation(const QString &conversation) const;
    /** The same of somebody with several numbers and addresses. */
    [[nodiscard]] VXFetchRequest messagesOfConversations(const QStringList &conversations) const;
    /** The newest of them, so many at most. */
    [[nodiscard]] std::optional<QList<VXManagedObjectPtr>> newestOfConversations(const QStringList &conversations,
                                                                                 qsizetype limit,
                                                                                 VXManagedObjectContext &context,
                                                                                 VXError *error = nullptr) const;

    // -- Messages
    /** The name of the root folder for one that is on no phone. */
    static QString rootFolderFor(const VXMessageRecord &record);
    /** A new message in a folder of the context. */
    static VXManagedObjectPtr insertMessage(const VXMessageRecord &record, const VXManagedObjectPtr &folder);
    /** For good, when its context is saved. One that lies on a phone is not shown any more, and goes with the next sync. */
    static void deleteMessage(const VXManagedObjectPtr &message);
    /** Deletes for good what is in the trash, and saves that in portions. @return how many; none, with an error, when they
     *  cannot be read or saved: what was saved is gone. */
    std::optional<qsizetype> emptyTrash(VXError *error = nullptr) const;
    /** All of the same way, party, text and exactly that date, whatever their state, in that folder, or with null in any; none
     *  when they cannot be read. */
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
