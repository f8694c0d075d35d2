#pragma once

#include "VXError.h"
#include "VXFileLock.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>

#include <chrono>
#include <memory>

/**
 * Tells other processes that a store folder is in use: any number of processes use it at once, but whoever replaces the
 * folder has to be alone. The kernel releases a lock when the process that holds it ends.
 *
 * The lock is on a file beside the folder, ".NAME.vxdatastore.lock", which is never removed and stands for the place:
 * wherever the folder is moved, and whatever takes its place, users and replacers of the place meet at the same file.
 * Whoever uses a folder by a symbolic link locks both places; whoever replaces the link locks the place of the link
 * only. Held as long as the object lives; any thread.
 */
class VX_EXPORT VXStoreLock
{
public:
    using Ptr = std::shared_ptr<const VXStoreLock>;

    enum class Purpose {
        Read,    // shared; makes no lock file beside a store that nobody has locked yet
        Use,     // shared; held by all who may write
        Replace, // exclusive: to install, upgrade, or restore
    };

    /**
     * Locks the place of a store folder, which need not exist. Waits for conflicting locks at most for the given time;
     * when it is over, returns null and sets `isBusy`, if given. Where no file can be made (read-only media, another
     * user's folder, a full disk), reading and using need no lock file. @return null on failure.
     */
    [[nodiscard]] static Ptr take(const QString &storePath, Purpose purpose, std::chrono::milliseconds timeout,
                                  VXError *error = nullptr, bool *isBusy = nullptr);

    /** The path of the lock file. */
    static QString lockFileForStorePath(const QString &storePath);

private:
    VXStoreLock(std::unique_ptr<VXFileLock> lock, Ptr target) : _lock(std::move(lock)), _target(std::move(target)) {}

    const std::unique_ptr<VXFileLock> _lock; // null where there can be none
    const Ptr _target;                       // the lock of the target, if the place is a link
};
