#pragma once

#include "VXFolders.h"
#include "VXObjectStoreError.h"

#include <cerrno>

// What stores of every type say alike.

/** Whether an errno says that the disk, or what the user may have of it, is full. */
inline bool VXIsOutOfSpace(int problem)
{
    return problem == ENOSPC || problem == EDQUOT;
}

inline QString VXOutOfSpaceDescription()
{
    return QStringLiteral("There is no room left to save to the store.");
}

inline VXError VXStoreWriteError(const QString &path, const QString &reason)
{
    return VXObjectStoreError(VXObjectStoreErrorCode::FileWrite, QStringLiteral("The store could not be written."),
                              reason, path);
}

/** The same of what the system has refused with an errno. */
inline VXError VXStoreWriteError(const QString &path, int problem)
{
    const QString reason = qt_error_string(problem);
    return VXIsOutOfSpace(problem)
               ? VXObjectStoreError(VXObjectStoreErrorCode::FileOutOfSpace, VXOutOfSpaceDescription(), reason, path)
               : VXStoreWriteError(path, reason);
}

inline VXError VXReadOnlyStoreError(const QString &path)
{
    return VXStoreWriteError(path, QStringLiteral("It is open for reading only."));
}

/** Of one that is closed, or whose file is not the one that was opened. */
inline VXError VXUnusableStoreError(const QString &path, const QString &reason)
{
    return VXObjectStoreError(VXObjectStoreErrorCode::InvalidStore, QStringLiteral("The store cannot be used."), reason,
                              path);
}

inline VXError VXClosedStoreError(const QString &path)
{
    return VXUnusableStoreError(path, QStringLiteral("It is closed."));
}

/** Of one whose file was removed, moved away or replaced while it was open. */
inline VXError VXReplacedStoreError(const QString &path)
{
    return VXUnusableStoreError(path, VXExistsAtPath(path) ? QStringLiteral("Another file has taken its place.")
                                                           : QStringLiteral("Its file is gone."));
}
