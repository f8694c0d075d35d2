#pragma once

#include "VXFileDescriptor.h"

#include <QtCore/QString>

#include <functional>

/**
 * A folder with a hidden name in which something grows, for this user only. It is locked while the object lives, so that
 * what a process left behind that was killed can be told from what is in use: the kernel ends the lock with the process.
 * Where a file system knows no locks, nothing counts as left behind. Private to the framework; one thread at a time.
 */
class VXScratchFolder
{
public:
    /** Makes "FOLDER/PREFIXxxxxxx". */
    VXScratchFolder(const QString &folder, const QString &prefix);
    /** Removes it with all that is in it. */
    ~VXScratchFolder();
    VXScratchFolder(const VXScratchFolder &) = delete;
    VXScratchFolder &operator=(const VXScratchFolder &) = delete;

    /** Null when it could not be made; `reason` tells why. */
    QString path() const { return _path; }
    QString reason() const { return _reason; }
    /** It stays, as what it holds is still of use; the lock ends with the object. */
    void keep() { _isKept = true; }

    /** Calls with each folder of such a name that belongs to the user and to no living process; locked meanwhile. */
    static void visitAbandoned(const QString &folder, const QString &prefix,
                               const std::function<void(const QString &path)> &visit);
    /** Removes those, with all that is in them. */
    static void removeAbandoned(const QString &folder, const QString &prefix);

    /** Locks a folder until the descriptor is closed; none is open when somebody else has it, or it is not there any more. */
    [[nodiscard]] static VXFileDescriptor lock(const QString &path, bool *isHeldElsewhere = nullptr);

private:
    QString _path;
    QString _reason;
    VXFileDescriptor _lock;
    bool _isKept = false;
};
