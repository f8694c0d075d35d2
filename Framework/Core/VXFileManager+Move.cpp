#include "VXFileManager.h"

#include "VXErrorDomain.h"
#include "VXItemCopy.h"
#include "VXMethodLog.h"
#include "VXScratchFolder.h"

#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

// Names unfinished copies beside their destination, and sources that are being removed.
const QString asidePrefix = u".vornix-move."_s;

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

QString folderOf(const fs::path &path)
{
    return path.has_parent_path() ? QFile::decodeName(path.parent_path().c_str()) : u"."_s;
}

bool isTaken(const fs::path &path)
{
    return VXFileManager::itemExistsAtPath(QFile::decodeName(path.c_str()));
}

// Renames, but does not replace anything.
std::error_code renameToFreePath(const fs::path &from, const fs::path &to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return {};
    if (errno != EINVAL && errno != ENOSYS)
        return systemError();
    // For a file system that cannot guarantee that: check first.
    if (isTaken(to))
        return std::make_error_code(std::errc::file_exists);
    return ::rename(from.c_str(), to.c_str()) == 0 ? std::error_code() : systemError();
}

// Copies into a temporary folder beside the destination, so that the destination either does not exist or is complete.
std::error_code copyIntoPlace(const fs::path &from, const fs::path &to)
{
    const QString folder = folderOf(to);
    VXScratchFolder::removeAbandoned(folder, asidePrefix);
    const VXScratchFolder staging(folder, asidePrefix);
    if (staging.path().isNull())
        return systemError();
    const fs::path copy = fs::path(QFile::encodeName(staging.path()).toStdString()) / to.filename();
    std::error_code error = VXCopyItem(from, copy);
    if (!error)
        error = renameToFreePath(copy, to);
    const bool isInPlace = !error;
    if (isInPlace)
        error = VXFinishCopy(from, to);
    if (error && isInPlace)
        VXRemoveCopy(to);
    return error;
}

// Removes the source completely or not at all: a folder is first renamed to a hidden name. It is locked, since the next
// move removes what a killed process has left of it.
std::error_code removeSource(const fs::path &from)
{
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(from, error))) {
        fs::remove(from, error);
        return error;
    }
    VXScratchFolder::removeAbandoned(folderOf(from), asidePrefix);
    const VXFileDescriptor lock = VXScratchFolder::lock(QFile::decodeName(from.c_str()));
    fs::path aside;
    do
        aside = from.parent_path() / (asidePrefix.toStdString() +
                                      QByteArray::number(QRandomGenerator::global()->generate(), 36).toStdString());
    while ((error = renameToFreePath(from, aside)) == std::errc::file_exists);
    if (!error && (fs::remove_all(aside, error), error)) {
        VXLogClassMethod(VXLogWarning, VXFileManager, "moveItemAtPath:",
                         u"Could not remove what is left of a moved folder: %1: %2"_s.arg(
                             QFile::decodeName(aside.c_str()), qt_error_string(error.value())));
        error.clear();
    }
    return error;
}

// Whether the destination is below the source: then it can be on another file system only because of a mount.
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
    if (isTaken(to))
        return std::make_error_code(std::errc::file_exists);
    if (!fs::is_symlink(from) && leadsIntoItself(from, to))
        return std::make_error_code(std::errc::invalid_argument);
    // What could not be removed afterwards is not copied at all.
    std::error_code error = VXCheckRemovable(from);
    if (!error)
        error = copyIntoPlace(from, to);
    if (!error && (error = removeSource(from)))
        VXRemoveCopy(to);
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
    if (error) {
        VXLogMethod(VXLogError, "moveItemAtPath:",
                    u"Unable to move %1 to %2: %3"_s.arg(source, destination, qt_error_string(error.value())));
        return recordMoveError(qt_error_string(error.value()), source);
    }
    SharedError::shared().set({});
    return {};
}

VXError VXFileManager::recordMoveError(const QString &reason, const QString &path)
{
    const QVariantMap errorInfo{{u"Error"_s, reason}, {u"Path"_s, path}};
    shouldProceedAfterError(errorInfo);
    return moveError(errorInfo); // not the shared error, which another thread may have replaced
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

bool VXFileManager::itemExistsAtPath(const QString &path)
{
    return VXExistsAtPath(path);
}

// A symbolic link with a trailing slash would mean its target.
QString VXFileManager::withoutTrailingSlashes(const QString &path)
{
    qsizetype length = path.size();
    while (length > 1 && path[length - 1] == u'/')
        --length;
    return path.left(length);
}
