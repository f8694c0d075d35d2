#pragma once

#include "VXFileDescriptor.h"
#include "VXPlatformExport.h"

#include <QtCore/QString>

#include <chrono>

/**
 * An advisory lock between processes (and between holders in one process) on a file made for it, held for the length
 * of a scope; the kernel ends it with the process.
 */
class VX_PLATFORM_EXPORT VXFileLock
{
public:
    /** Waits until the lock is free, at most for the time given. The file is made, for its owner alone, where it is
     *  missing; a link in its place is refused, as another user may have laid it, except below "/proc/self/fd". */
    explicit VXFileLock(const QString &path, std::chrono::milliseconds timeout = std::chrono::milliseconds::max());

    /** False when the time was over, or the lock file could not be opened; `reason` tells why. */
    bool isHeld() const { return _file.isOpen(); }
    bool isTimedOut() const { return _isTimedOut; }
    QString reason() const { return _reason; }
    /** The locked file, for those who keep something in it. */
    const VXFileDescriptor &file() const { return _file; }

private:
    VXFileDescriptor _file; // open while the lock is held
    bool _isTimedOut = false;
    QString _reason;
};
