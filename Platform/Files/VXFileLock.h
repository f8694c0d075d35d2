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
    /** Alone, or together with others who share it. */
    enum class Mode { Exclusive, Shared };

    /** Waits until the lock is free, at most for the time given. A shared one does with a file that may only be read. */
    explicit VXFileLock(const QString &path, std::chrono::milliseconds timeout = std::chrono::milliseconds::max(),
                        Mode mode = Mode::Exclusive);
    ~VXFileLock();
    VXFileLock(const VXFileLock &) = delete;
    VXFileLock &operator=(const VXFileLock &) = delete;

    /** False when the time was over, or the lock file could not be opened; `reason` tells why. */
    bool isHeld() const { return _descriptor >= 0; }
    bool isTimedOut() const { return _isTimedOut; }
    QString reason() const { return _reason; }

private:
    int _descriptor;
    bool _isTimedOut = false;
    QString _reason;
};
