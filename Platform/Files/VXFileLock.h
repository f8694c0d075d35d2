#pragma once

#include "VXFileDescriptor.h"
#include "VXPlatformExport.h"

#include <QtCore/QString>

#include <chrono>

/**
 * An advisory lock between processes (and between holders in one process) on a lock file, held for a scope; the kernel
 * releases it when the process ends.
 */
class VX_PLATFORM_EXPORT VXFileLock
{
public:
    /** Alone, or shared with others. */
    enum class Mode { Exclusive, Shared };

    /** Waits until the lock is free, at most for the given time. A missing file is made, readable for its owner only.
     *  An existing one must be a regular file with a single name: through a link, another file would be written. A
     *  read-only file suffices for a shared lock. */
    explicit VXFileLock(const QString &path, std::chrono::milliseconds timeout = std::chrono::milliseconds::max(),
                        Mode mode = Mode::Exclusive);
    /** Locks a file that is open elsewhere for reading and writing; it need not be a lock file. */
    explicit VXFileLock(int descriptor, std::chrono::milliseconds timeout = std::chrono::milliseconds::max());

    /** False when the time was over, or the lock file could not be opened; then `reason` says why. */
    bool isHeld() const { return _file.isOpen(); }
    bool isTimedOut() const { return _isTimedOut; }
    QString reason() const { return _reason; }
    /** The errno of what `reason` says; 0 where the system knows of none. */
    int systemError() const { return _problem; }
    /** Whether nobody can have the lock: there is no file and none can be made (read-only media, another user's folder,
     *  a full disk), or the file system does not support locks. */
    bool isImpossible() const { return _isImpossible; }
    /** The locked file, for users that store something in it. */
    const VXFileDescriptor &file() const { return _file; }

private:
    void wait(VXFileDescriptor file, std::chrono::milliseconds timeout, Mode mode);

    VXFileDescriptor _file; // open while the lock is held
    int _problem = 0;
    bool _isTimedOut = false;
    bool _isImpossible = false;
    QString _reason;
};
