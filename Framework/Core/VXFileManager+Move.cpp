#include "VXFileManager.h"

#include "VXErrorDomain.h"

#include <QtCore/QFile>
#include <QtCore/QScopeGuard>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

struct SharedError
{
    VXMutex lock;
    VXError error VX_GUARDED_BY(lock);

    static SharedError &shared()
    {
        static auto *const instance = new SharedError;
        return *instance;
    }

    void set(const VXError &newError)
    {
        const VXMutexLocker locker(lock);
        error = newError;
    }
};

VXError moveError(const QVariantMap &errorInfo)
{
    return VXMakeFileError(u"Unable to move file or folder."_s, errorInfo.value(u"Error"_s).toString(),
                           errorInfo.value(u"Path"_s).toString());
}

std::error_code systemError()
{
    return {errno, std::generic_category()};
}

// Also true for a link that leads nowhere.
bool isTaken(const fs::path &path)
{
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

// Renames without replacing anything.
std::error_code renameToFreePath(const fs::path &from, const fs::path &to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return {};
    if (errno != EINVAL && errno != ENOSYS)
        return systemError();
    // A file system that cannot promise it: look first.
    if (isTaken(to))
        return std::make_error_code(std::errc::file_exists);
    return ::rename(from.c_str(), to.c_str()) == 0 ? std::error_code() : systemError();
}

// Owner, permissions and times, as far as the file system and the user's rights allow.
void keepAttributes(const fs::path &path, const struct stat &original)
{
    const bool ownerKept = ::lchown(path.c_str(), original.st_uid, original.st_gid) == 0;
    if (!S_ISLNK(original.st_mode)) {
        // Never a program that runs as somebody it was not owned by.
        [[maybe_unused]] const int mode = ::chmod(path.c_str(), original.st_mode & (ownerKept ? 07777 : 01777));
    }
    const std::array times{original.st_atim, original.st_mtim};
    ::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

bool writeAll(int descriptor, const char *bytes, ssize_t length)
{
    while (length > 0) {
        const ssize_t written = ::write(descriptor, bytes, static_cast<std::size_t>(length));
        if (written < 0 && errno != EINTR)
            return false;
        bytes += std::max<ssize_t>(written, 0);
        length -= std::max<ssize_t>(written, 0);
    }
    return true;
}

// Not fs::copy_file, which calls a full disk an input/output error.
std::error_code copyFile(const fs::path &from, const fs::path &to)
{
    const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0)
        return systemError();
    const auto closeSource = qScopeGuard([source] { ::close(source); });
    const int copy = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (copy < 0)
        return systemError();
    std::vector<char> buffer(128 * 1024);
    ssize_t length = 0;
    while ((length = ::read(source, buffer.data(), buffer.size())) > 0 && writeAll(copy, buffer.data(), length)) {
    }
    const std::error_code error = length == 0 ? std::error_code() : systemError();
    // Some file systems tell only now that they are full.
    return ::close(copy) == 0 || error ? error : systemError();
}

std::error_code copyItem(const fs::path &from, const fs::path &to);

std::error_code copyFolder(const fs::path &from, const fs::path &to)
{
    std::error_code error;
    if (::mkdir(to.c_str(), 0700) != 0)
        return systemError();
    fs::directory_iterator entry(from, error);
    while (!error && entry != fs::directory_iterator()) {
        error = copyItem(entry->path(), to / entry->path().filename());
        if (!error)
            entry.increment(error);
    }
    return error;
}

std::error_code copyItem(const fs::path &from, const fs::path &to)
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
        error = copyFile(from, to);
    else if (::mknod(to.c_str(), status.st_mode, status.st_rdev) != 0)
        error = systemError();
    if (!error)
        keepAttributes(to, status);
    return error;
}

// The copy grows in a folder of its own beside the destination, so that this is either free or holds all.
std::error_code copyIntoPlace(const fs::path &from, const fs::path &to)
{
    std::string staging = (to.parent_path() / ".vornix-move.XXXXXX").string();
    if (::mkdtemp(staging.data()) == nullptr)
        return systemError();
    const fs::path copy = fs::path(staging) / to.filename();
    std::error_code error = copyItem(from, copy);
    if (!error)
        error = renameToFreePath(copy, to);
    std::error_code ignored;
    fs::remove_all(staging, ignored);
    return error;
}

// True for a destination below the source: seen from there it would be on another file system only through a mount.
bool leadsIntoItself(const fs::path &from, const fs::path &to)
{
    std::error_code error;
    fs::path folder = fs::canonical(to.parent_path(), error);
    while (!error && folder.has_relative_path()) {
        if (fs::equivalent(folder, from, error))
            return true;
        folder = folder.parent_path();
    }
    return false;
}

std::error_code moveAcrossFileSystems(const fs::path &from, const fs::path &to)
{
    // What cannot be removed afterwards is better not copied.
    const fs::path folder = from.has_parent_path() ? from.parent_path() : fs::path(".");
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        return systemError();
    if (isTaken(to))
        return std::make_error_code(std::errc::file_exists);
    if (!fs::is_symlink(from) && leadsIntoItself(from, to))
        return std::make_error_code(std::errc::invalid_argument);
    std::error_code error = copyIntoPlace(from, to);
    if (!error)
        fs::remove_all(from, error); // after a failure here both are left: nothing is lost
    return error;
}

} // namespace

VXError VXFileManager::moveItemAtPath(const QString &source, const QString &destination)
{
    const fs::path from = QFile::encodeName(withoutTrailingSlashes(source)).toStdString();
    const fs::path to = QFile::encodeName(withoutTrailingSlashes(destination)).toStdString();
    std::error_code error = renameToFreePath(from, to);
    if (error == std::errc::cross_device_link)
        error = moveAcrossFileSystems(from, to);
    if (error)
        return recordMoveError(qt_error_string(error.value()), source);
    SharedError::shared().set({});
    return {};
}

VXError VXFileManager::recordMoveError(const QString &reason, const QString &path)
{
    const QVariantMap errorInfo{{u"Error"_s, reason}, {u"Path"_s, path}};
    shouldProceedAfterError(errorInfo);
    return moveError(errorInfo); // not the shared one, which another thread may have replaced
}

bool VXFileManager::shouldProceedAfterError(const QVariantMap &errorInfo)
{
    SharedError::shared().set(moveError(errorInfo));
    return false;
}

VXError VXFileManager::lastError()
{
    SharedError &shared = SharedError::shared();
    const VXMutexLocker lock(shared.lock);
    return shared.error;
}

// A link with a slash behind it would stand for what it leads to.
QString VXFileManager::withoutTrailingSlashes(const QString &path)
{
    qsizetype length = path.size();
    while (length > 1 && path[length - 1] == u'/')
        --length;
    return path.left(length);
}
