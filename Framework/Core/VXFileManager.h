#pragma once

#include "VXError.h"
#include "VXFolders.h"
#include "VXFrameworkExport.h"
#include "VXMutex.h"

#include <QtCore/QString>
#include <QtCore/QVariantMap>

/**
 * The framework's file operations: well-known folders, folder paths, temporary folders, the trash, log files.
 * Any thread may call; trashing is serialised.
 */
class VX_EXPORT VXFileManager
{
public:
    static VXFileManager &defaultManager();

    VXFileManager() = default;
    VXFileManager(const VXFileManager &) = delete;
    VXFileManager &operator=(const VXFileManager &) = delete;

    /** A folder known to the platform; not created. If it cannot be found, an assertion fails. */
    QString pathToFolder(VXFolderType type, VXFolderDomain domain) const;

    QString pathToLocalApplicationsFolder() const;
    QString pathToLocalVNXApplicationSupportFolder() const;
    QString pathToUserVNXApplicationSupportFolder() const;
    QString pathToUserDesktopFolder() const;
    QString pathToUserCachedDataFolder() const;
    QString pathToUserMetadataFolder() const;
    QString pathToUserTrashFolder() const;

    /** The folder of the application's log files, created if need be; null, with a line on the console, on failure. */
    QString pathToUserVNXLogsFolder() const;
    /** Size in megabytes (1048576 bytes), following links; -1 when it cannot be read. */
    float fileSizeAtPath(const QString &path) const;
    /** Whether the log file can be appended to. Creates it if need be; rotates it once it exceeds 2 MB. */
    bool verifyLogFileAtPath(const QString &path) const;

    /** Makes each missing folder along the path. @return no error, or which folder could not be created. */
    VXError verifyPathExists(const QString &path) const;
    /** Makes a new folder "<base name>.XXXXXX" in the temporary folder, for this user only; null on failure or without
     *  a base name. */
    QString createUniqueTemporaryFolder(const QString &baseName) const;

    /**
     * Moves an item into the user's trash (freedesktop.org Trash specification) under its own name, or that name with
     * ".1", ".2", ... if taken; nothing there is replaced. A name too long for the trash's info file is truncated.
     * @param trashedPath if given, receives the path in the trash. @param origin where to restore it to, if that is not
     * where it is moved from. @return no error, or why it was not moved; that is logged.
     */
    VXError safelyTrashFileAtPath(const QString &path, QString *trashedPath = nullptr, const QString &origin = {});

    /** Whether anything has that name, including a dangling link. */
    static bool itemExistsAtPath(const QString &path);

    /**
     * Moves a file, folder or link to a path where nothing is. To another file system it is copied, with its metadata
     * (VXItemCopy.h), and removed when the copy is on disk; what cannot be removed is not moved. @return no error, or
     * why it was not moved; that is logged. Then the item is where it was, and nothing is at the destination.
     */
    VXError moveItemAtPath(const QString &source, const QString &destination);

    /**
     * Handles a failed move: records an error made of the entries "Error" and "Path" as the last one and returns false,
     * as the move must not proceed.
     */
    bool shouldProceedAfterError(const QVariantMap &errorInfo);

    /** The error of the last failed move or trashing in this process; none after a success. */
    static VXError lastError();

private:
    VXError recordMoveError(const QString &reason, const QString &path);
    static QString withoutTrailingSlashes(const QString &path);

    VXRecursiveMutex _lock; // serializes trashing
};
