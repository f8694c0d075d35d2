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

/** Posted before a message is sent, and when the result is known; object: the message's record, as a map. */
VX_EXPORT extern const VXNotificationName VXMessageWillSendNotification;
VX_EXPORT extern const VXNotificationName VXMessageDidSendNotification;

/** A change of a message that has yet to be carried out on the phone ("pending" of "VXMessage"). */
enum class VXPendingChange : int {
    None = 0,
    Remove = 1, // the message was moved off the phone
    Trash = 2,  // it was moved to the trash
    Update = 3,
};

/**
 * The one folder with that root name. Fails an assertion when there is none or several, or the store cannot be read. On
 * the context's thread, like all functions here.
 */
[[nodiscard]] VX_EXPORT VXManagedObjectPtr VXFetchRootFolder(const QString &rootFolderName,
                                                             VXManagedObjectContext *context);

/**
 * The folder of the phone that the URL names or leads into; null when it has none yet. A URL that names no phone, a
 * null context, and a store that cannot be read fail an assertion.
 */
[[nodiscard]] VX_EXPORT VXManagedObjectPtr VXFetchDeviceFolder(const QUrl &anyURL, VXManagedObjectContext *context);

/** Marks an unread message as read, to be updated on its phone. @return whether the message is now read. */
VX_EXPORT bool VXMarkMessageAsRead(const VXManagedObjectPtr &message);

/**
 * Moves or copies a message to a folder; a smart folder stands for the device folder that it shows. A message on a
 * phone is copied off it and then removed there. Nothing is saved. @param info receives "message" (the moved message,
 * or the copy in its place), "folder" (the former folder; for a copy the target) and "duplicate" (the requested copy);
 * may be nullptr. @return false when nothing was done: the message is already in that folder, or one of the two is
 * null.
 */
VX_EXPORT bool VXMoveMessageToFolder(const VXManagedObjectPtr &message, const VXManagedObjectPtr &targetFolder,
                                     bool copies, QVariantMap *info = nullptr);
