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

    /** A folder the platform knows; not created. One that cannot be found fails an assertion. */
    QString pathToFolder(VXFolderType type, VXFolderDomain domain) const;

    QString pathToLocalApplicationsFolder() const;
    QString pathToLocalVNXApplicationSupportFolder() const;
    QString pathToUserVNXApplicationSupportFolder() const;
    QString pathToUserDesktopFolder() const;
    QString pathToUserCachedDataFolder() const;
    QString pathToUserMetadataFolder() const;
    QString pathToUserTrashFolder() const;

    /** The folder of the application's log files, made if needed; null, with a line on the console, on failure. */
    QString pathToUserVNXLogsFolder() const;
    /** Size in megabytes (1048576 bytes), following links; -1 when it cannot be read. */
    float fileSizeAtPath(const QString &path) const;
    /** True when the log file may be appended to. Creates it; rotates it once it exceeds 2 MB. */
    bool verifyLogFileAtPath(const QString &path) const;

    /** Makes each missing folder along the path. @return no error, or which folder could not be created. */
    VXError verifyPathExists(const QString &path) const;
    /** A new folder "<base name>.XXXXXX" in the temporary folder, for this user only; null on failure or
     * without a base name. */
    QString createUniqueTemporaryFolder(const QString &baseName) const;

    /**
     * Moves an item into the user's trash (freedesktop.org Trash specification) under its own name, or that
     * name with ".1", ".2", ... when taken; nothing there is replaced. A name too long for the trash's notes loses its end.
     * @param trashedPath if given, is where it then lies.
     * @param origin where it is to be put back to, when that is another place than the one it is moved from.
     * @return no error, or why it did not move; it is logged.
     */
    VXError safelyTrashFileAtPath(const QString &path, QString *trashedPath = nullptr, const QString &origin = {});

    /** True for whatever has that name, a link that leads nowhere too. */
    static bool itemExistsAtPath(const QString &path);

    /**
     * Moves a file, folder or link to a path that is free. To another file system it is copied, with what belongs to it
     * (VXItemCopy.h), and removed when the copy is on the disk; what may not be removed is not moved. @return no error,
     * or why it did not move: then it is where it was, and nothing is at the destination. It is logged.
     */
    VXError moveItemAtPath(const QString &source, const QString &destination);

    /**
     * The handler of failed moves: records an error made of the entries "Error" and "Path" as the last one
     * and answers false, for the move must not proceed.
     */
    bool shouldProceedAfterError(const QVariantMap &errorInfo);

    /** The error of the last failed move or trashing in the process; none after a success. */
    static VXError lastError();

private:
    VXError recordMoveError(const QString &reason, const QString &path);
    static QString withoutTrailingSlashes(const QString &path);

    VXRecursiveMutex _lock; // one trashing at a time
};
