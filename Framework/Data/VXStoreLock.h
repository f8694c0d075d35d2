#pragma once

#include "VXError.h"
#include "VXFileLock.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>

#include <chrono>
#include <memory>

/**
 * Says between processes that a store folder is in use: any number use it at once, and whoever puts another folder in its
 * place has it alone. The kernel ends a lock with the process that holds it.
 *
 * What is locked is a file beside the folder, ".NAME.vxdatastore.lock", which is never removed. It stands for the place:
 * wherever the folder itself is moved, and whatever comes in its stead, those who use the place and those who replace what
 * is there meet on the same file. Who uses a folder by a link to it holds both places; who replaces the link, that of the link.
 * Held as long as the object lives; any thread.
 */
class VX_EXPORT VXStoreLock
{
public:
    using Ptr = std::shared_ptr<const VXStoreLock>;

    enum class Purpose {
        Read,    // shared; leaves no file beside a store that nobody has locked yet
        Use,     // shared; held by all who may write
        Replace, // alone: to install, upgrade, or restore
    };

    /**
     * Locks the place of a store folder, which need not exist. Waits while others stand in the way, at most for the time
     * given: then `isBusy` is true, if asked for. To read and use, a place where no file can be made (read-only media,
     * another user's folder, a full disk) needs none. @return null on failure.
     */
    [[nodiscard]] static Ptr take(const QString &storePath, Purpose purpose, std::chrono::milliseconds timeout,
                                  VXError *error = nullptr, bool *isBusy = nullptr);

    /** The file that is locked. */
    static QString lockFileForStorePath(const QString &storePath);

private:
    VXStoreLock(std::unique_ptr<VXFileLock> lock, Ptr target) : _lock(std::move(lock)), _target(std::move(target)) {}

    const std::unique_ptr<VXFileLock> _lock; // null where there can be none
    const Ptr _target;                       // of where the place leads, if it is a link
};
