#pragma once

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
    /** Waits until the lock is free, at most for the time given. What lies at the path must be a plain file of one name, or
     * nothing: somebody else's link would lead what is written there to another file. */
    explicit VXFileLock(const QString &path, std::chrono::milliseconds timeout = std::chrono::milliseconds::max());
    /** Locks a file that is open elsewhere, for reading and writing; it need not be made for that. */
    explicit VXFileLock(int descriptor, std::chrono::milliseconds timeout = std::chrono::milliseconds::max());
    ~VXFileLock();
    VXFileLock(const VXFileLock &) = delete;
    VXFileLock &operator=(const VXFileLock &) = delete;

    /** False when the time was over, or the lock file could not be opened; `reason` tells why. */
    bool isHeld() const { return _descriptor >= 0; }
    /** Of the lock's file, for those who keep something in it; as long as this. */
    int descriptor() const { return _descriptor; }
    bool isTimedOut() const { return _isTimedOut; }
    QString reason() const { return _reason; }

private:
    void wait(std::chrono::milliseconds timeout);

    int _descriptor;
    bool _isTimedOut = false;
    QString _reason;
};
