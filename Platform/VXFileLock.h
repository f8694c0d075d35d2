#pragma once

#include <QtCore/QString>

/**
 * An advisory lock between processes (and between holders in one process) on a file made for it, held for the length
 * of a scope; the kernel ends it with the process. Private to the platform layer.
 */
class VXFileLock
{
public:
    /** Waits until the lock is free. */
    explicit VXFileLock(const QString &path);
    ~VXFileLock();
    VXFileLock(const VXFileLock &) = delete;
    VXFileLock &operator=(const VXFileLock &) = delete;

    /** False when the lock file could not be opened; `reason` tells why. */
    bool isHeld() const { return _descriptor >= 0; }
    QString reason() const { return _reason; }

private:
    int _descriptor;
    QString _reason;
};
