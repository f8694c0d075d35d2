#pragma once

#include "VXFolders.h"
#include "VXObjectStoreError.h"

// What stores of every type say alike.

inline VXError VXStoreWriteError(const QString &path, const QString &reason)
{
    return VXObjectStoreError(VXObjectStoreErrorCode::FileWrite, QStringLiteral("The store could not be written."),
                              reason, path);
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
