#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObjectContext.h"
#include "VXNotificationCenter.h"

#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

// The names of root folders ("root_name" of "VXRootFolder"), and of the fetch templates that find them.
VX_EXPORT extern const QString VXInboxFolder;    // "inbox"
VX_EXPORT extern const QString VXSentFolder;     // "sent"
VX_EXPORT extern const QString VXDraftsFolder;   // "drafts"
VX_EXPORT extern const QString VXTrashFolder;    // "trash"
VX_EXPORT extern const QString VXUserRootFolder; // "user"

/** Posted before a message is sent, and when it is known what came of it; object: the message's record, as a map. */
VX_EXPORT extern const VXNotificationName VXMessageWillSendNotification;
VX_EXPORT extern const VXNotificationName VXMessageDidSendNotification;

/** The change of a message that is still to be carried out on the phone ("pending" of "VXMessage"). */
enum class VXPendingChange : int {
    None = 0,
    Remove = 1, // the message was copied off the phone
    Trash = 2,  // it was moved to the trash
    Update = 3,
};

/**
 * The one folder with that root name. None or several of them, and a store that cannot be asked, fail an assertion. On the
 * context's thread, as all of these.
 */
[[nodiscard]] VX_EXPORT VXManagedObjectPtr VXFetchRootFolder(const QString &rootFolderName,
                                                             VXManagedObjectContext *context);

/**
 * The folder of the phone that the URL names or leads into; null when it has none yet. A URL that names nothing, a null
 * context, and a store that cannot be asked fail an assertion.
 */
[[nodiscard]] VX_EXPORT VXManagedObjectPtr VXFetchDeviceFolder(const QUrl &anyURL, VXManagedObjectContext *context);

/** An unread message becomes a read one, and is to be updated on its phone. @return whether the message is now read. */
VX_EXPORT bool VXMarkMessageAsRead(const VXManagedObjectPtr &message);

/**
 * Moves or copies a message to a folder; a smart folder stands for the device folder that it shows. One that lies on a phone
 * is copied off it and then removed there. Nothing is saved.
 * @param info receives "message" (the one that was moved, or the copy that stands for it), "folder" (the one it was in; of
 *   a copy the target) and "duplicate" (the copy that was asked for); may be nullptr.
 * @return false when nothing was done: the message is in that folder already, or one of the two is null.
 */
VX_EXPORT bool VXMoveMessageToFolder(const VXManagedObjectPtr &message, const VXManagedObjectPtr &targetFolder,
                                     bool copies, QVariantMap *info = nullptr);
