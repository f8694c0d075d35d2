#include "VXItemCopy.h"

#include "VXFileDescriptor.h"

#include <QtCore/QScopeGuard>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::error_code systemError()
{
    return {errno, std::generic_category()};
}

// What the file system or the user's rights do not allow is no failure; a full disk is one.
std::error_code keepExtendedAttributes(const fs::path &from, const fs::path &to)
{
    std::vector<char> names(64 * 1024); // the kernel's limit
    const ssize_t length = ::llistxattr(from.c_str(), names.data(), names.size());
    std::vector<char> value(64 * 1024);
    for (ssize_t start = 0; start < length; start += ssize_t(std::string_view(&names[size_t(start)]).size()) + 1) {
        const char *const name = &names[size_t(start)];
        const ssize_t size = ::lgetxattr(from.c_str(), name, value.data(), value.size());
        if (size >= 0 && ::lsetxattr(to.c_str(), name, value.data(), size_t(size), 0) != 0 &&
            (errno == ENOSPC || errno == EDQUOT || errno == EIO))
            return systemError();
    }
    return {};
}

// Copies owner, permissions and times.
void keepStatus(const fs::path &path, const struct stat &original)
{
    const bool ownerKept = ::lchown(path.c_str(), original.st_uid, original.st_gid) == 0;
    if (!S_ISLNK(original.st_mode)) {
        // Drops set-user-ID and set-group-ID unless the owner was kept.
        [[maybe_unused]] const int mode = ::chmod(path.c_str(), original.st_mode & (ownerKept ? 07777 : 01777));
    }
    const std::array times{original.st_atim, original.st_mtim};
    ::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

// Copies the bytes from `start` to `end` to the same place.
std::error_code copyBytes(int source, int copy, off_t start, off_t end)
{
    std::vector<char> buffer(128 * 1024);
    while (start < end) {
        const auto wanted = std::min<size_t>(buffer.size(), size_t(end - start));
        const ssize_t length = ::pread(source, buffer.data(), wanted, start);
        if (length < 0 && errno == EINTR)
            continue;
        if (length < 0)
            return systemError();
        if (length == 0)
            return {}; // the source was truncated meanwhile
        if (!VXWriteAllAt(copy, start, {buffer.data(), length}))
            return systemError();
        start += length;
    }
    return {};
}

// Copies only data, and skips holes. A file system that does not support this reports no holes.
std::error_code copyContents(int source, int copy, off_t size)
{
    off_t start = 0;
    std::error_code error;
    while (!error && start < size) {
        off_t data = ::lseek(source, start, SEEK_DATA);
        if (data < 0 && errno == ENXIO)
            break;
        off_t hole = data < 0 ? size : ::lseek(source, data, SEEK_HOLE);
        data = data < 0 ? start : data;
        hole = hole < 0 ? size : hole;
        error = copyBytes(source, copy, data, hole);
        start = hole;
    }
    return error || ::ftruncate(copy, size) == 0 ? error : systemError();
}

std::error_code copyFile(const fs::path &from, const fs::path &to, off_t size)
{
    const int source = ::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (source < 0)
        return systemError();
    const auto closeSource = qScopeGuard([source] { ::close(source); });
    const int copy = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (copy < 0)
        return systemError();
    std::error_code error = copyContents(source, copy, size);
    if (!error && ::fsync(copy) != 0)
        error = systemError();
    // Some file systems report only now that they are full.
    return ::close(copy) == 0 || error ? error : systemError();
}

std::error_code syncFolder(const fs::path &folder)
{
    const int descriptor = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        // a folder that may only be written to cannot be opened, and so not synced
        return errno == EACCES ? std::error_code() : systemError();
    const auto close = qScopeGuard([descriptor] { ::close(descriptor); });
    return ::fsync(descriptor) == 0 || errno == EINVAL ? std::error_code() : systemError();
}

std::error_code copyFolder(const fs::path &from, const fs::path &to)
{
    std::error_code error;
    if (::mkdir(to.c_str(), 0700) != 0)
        return systemError();
    fs::directory_iterator entry(from, error);
    while (!error && entry != fs::directory_iterator()) {
        const fs::path copy = to / entry->path().filename();
        error = VXCopyItem(entry->path(), copy);
        struct stat status
        {
        };
        if (!error && ::lstat(entry->path().c_str(), &status) == 0 && S_ISDIR(status.st_mode))
            keepStatus(copy, status);
        if (!error)
            entry.increment(error);
    }
    return error ? error : syncFolder(to);
}

// Whether the folder is writable for others but sticky, so that only owners can remove their entries.
bool isKeptForOwners(const fs::path &folder, const struct stat &entry)
{
    struct stat status
    {
    };
    const uid_t user = ::geteuid();
    return user != 0 && ::stat(folder.c_str(), &status) == 0 && (status.st_mode & S_ISVTX) != 0 &&
           status.st_uid != user && entry.st_uid != user;
}

} // namespace

std::error_code VXCopyItem(const fs::path &from, const fs::path &to)
{
    struct stat status
    {
    };
    if (::lstat(from.c_str(), &status) != 0)
        return systemError();
    std::error_code error;
    if (S_ISDIR(status.st_mode))
        error = copyFolder(from, to);
    else if (S_ISLNK(status.st_mode))
        fs::copy_symlink(from, to, error);
    else if (S_ISREG(status.st_mode))
        error = copyFile(from, to, status.st_size);
    else if (::mknod(to.c_str(), status.st_mode, status.st_rdev) != 0)
        error = systemError();
    if (!error)
        error = keepExtendedAttributes(from, to);
    if (!error && !S_ISDIR(status.st_mode))
        keepStatus(to, status);
    return error;
}

std::error_code VXFinishCopy(const fs::path &from, const fs::path &to)
{
    struct stat status
    {
    };
    if (::lstat(from.c_str(), &status) != 0)
        return systemError();
    if (S_ISDIR(status.st_mode))
        keepStatus(to, status);
    return syncFolder(to.parent_path());
}

std::error_code VXCheckRemovable(const fs::path &item)
{
    struct stat status
    {
    };
    if (::lstat(item.c_str(), &status) != 0)
        return systemError();
    const fs::path folder = item.has_parent_path() ? item.parent_path() : fs::path(".");
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        return systemError();
    if (isKeptForOwners(folder, status))
        return std::make_error_code(std::errc::operation_not_permitted);
    std::error_code error;
    if (!S_ISDIR(status.st_mode))
        return error;
    for (fs::directory_iterator entry(item, error); !error && entry != fs::directory_iterator();) {
        error = VXCheckRemovable(entry->path());
        if (!error)
            entry.increment(error);
    }
    return error;
}

void VXRemoveCopy(const fs::path &copy)
{
    std::error_code error;
    if (fs::is_directory(fs::symlink_status(copy, error))) {
        ::chmod(copy.c_str(), 0700);
        for (fs::directory_iterator entry(copy, error); !error && entry != fs::directory_iterator();
             entry.increment(error))
            VXRemoveCopy(entry->path());
    }
    fs::remove(copy, error); // what cannot be removed is in nobody's way
}
