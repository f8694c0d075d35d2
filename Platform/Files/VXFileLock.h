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
    /** Alone, or together with others who share it. */
    enum class Mode { Exclusive, Shared };

    /** Waits until the lock is free, at most for the time given. The file is made, for its owner alone, where it is
     *  missing. What lies there must be a plain file of one name: a link would lead what is written to another file. A
     *  shared lock does with a file that may only be read. */
    explicit VXFileLock(const QString &path, std::chrono::milliseconds timeout = std::chrono::milliseconds::max(),
                        Mode mode = Mode::Exclusive);
    /** Locks a file that is open elsewhere, for reading and writing; it need not be made for that. */
    explicit VXFileLock(int descriptor, std::chrono::milliseconds timeout = std::chrono::milliseconds::max());

    /** False when the time was over, or the lock file could not be opened; `reason` tells why. */
    bool isHeld() const { return _file.isOpen(); }
    bool isTimedOut() const { return _isTimedOut; }
    QString reason() const { return _reason; }
    /** Nobody can have it: no file is there and none can be made (read-only media, another's folder, a full disk), or
     *  the file system knows no locks. */
    bool isImpossible() const { return _isImpossible; }
    /** The locked file, for those who keep something in it. */
    const VXFileDescriptor &file() const { return _file; }

private:
    void wait(VXFileDescriptor file, std::chrono::milliseconds timeout, Mode mode);

    VXFileDescriptor _file; // open while the lock is held
    bool _isTimedOut = false;
    bool _isImpossible = false;
    QString _reason;
};
