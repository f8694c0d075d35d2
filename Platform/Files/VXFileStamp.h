#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

/** Tells a file, as it was when it was read, from what is at its path later: replaced, changed, or removed. */
struct VX_PLATFORM_EXPORT VXFileStamp
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = -1; // -1 if there is no file
    qint64 seconds = 0;
    qint64 nanoseconds = 0;

    static VXFileStamp ofPath(const QString &path);
    /** For an open file. */
    static VXFileStamp ofDescriptor(int descriptor);

    bool exists() const { return size >= 0; }
    bool operator==(const VXFileStamp &) const = default;
};
