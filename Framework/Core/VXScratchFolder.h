#pragma once

#include "VXFileDescriptor.h"

#include <QtCore/QString>

#include <functional>

/**
 * A hidden temporary folder in which something is prepared, for this user only. It is locked while the object lives, so
 * that folders left by killed processes can be told from those in use: the kernel releases a lock when the process
 * ends. On file systems without locks no folder counts as abandoned. Private to the framework; one thread at a time.
 */
class VXScratchFolder
{
public:
    /** Makes "FOLDER/PREFIXxxxxxx". */
    VXScratchFolder(const QString &folder, const QString &prefix);
    /** Removes the folder with everything in it. */
    ~VXScratchFolder();
    VXScratchFolder(const VXScratchFolder &) = delete;
    VXScratchFolder &operator=(const VXScratchFolder &) = delete;

    /** Null when the folder could not be made; then `reason` says why. */
    QString path() const { return _path; }
    QString reason() const { return _reason; }
    /** Keeps the folder, since its contents are still needed; the lock is still released with the object. */
    void keep() { _isKept = true; }

    /** Visits each folder with such a name that belongs to this user and to no living process; it is locked during the
     *  visit. */
    static void visitAbandoned(const QString &folder, const QString &prefix,
                               const std::function<void(const QString &path)> &visit);
    /** Removes those folders with everything in them. */
    static void removeAbandoned(const QString &folder, const QString &prefix);

    /** Locks a folder until the descriptor is closed. Not open when somebody else holds the lock, or the folder is
     *  gone. */
    [[nodiscard]] static VXFileDescriptor lock(const QString &path, bool *isHeldElsewhere = nullptr);

private:
    QString _path;
    QString _reason;
    VXFileDescriptor _lock;
    bool _isKept = false;
};
