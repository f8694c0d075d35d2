#include "VXFileManager.h"

#include "VXBundle.h"
#include "VXDiagnostics.h"
#include "VXFileDescriptor.h"
#include "VXFileLock.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The logger uses these functions, so their own problems go to the console.

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr float largestLogFile = 2.0F; // megabytes
constexpr auto longestWait = 1s;       // for another process that rotates the log; it may be stopped

float megabytes(off_t size)
{
    return static_cast<float>(static_cast<double>(size) / 1048576.0);
}

enum class Rotation { Done, KeptInUse, Failed };

// False when another process has rotated the file meanwhile.
bool isStillTooLarge(int descriptor, const QByteArray &name)
{
    struct stat held
    {
    };
    struct stat current
    {
    };
    return ::fstat(descriptor, &held) == 0 && ::stat(name.constData(), &current) == 0 &&
           held.st_dev == current.st_dev && held.st_ino == current.st_ino && megabytes(held.st_size) > largestLogFile;
}

Rotation rotate(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    const QString backup = path + ".1"_L1;
    const QByteArray backupName = QFile::encodeName(backup);
    const VXFileDescriptor file(::open(name.constData(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK));
    const VXFileLock lock(file.number(), longestWait); // only one of several threads and processes rotates it
    if (lock.isTimedOut())
        return Rotation::KeptInUse;
    if (!isStillTooLarge(file.number(), name) || ::rename(name.constData(), backupName.constData()) == 0)
        return Rotation::Done;
    // These errors mean that the backup is no file, or must not be changed.
    const bool isBlocked = errno == EISDIR || errno == EACCES || errno == EPERM || errno == EROFS;
    if (isBlocked && QFileInfo::exists(backup)) {
        VXConsoleLog(u"Could not remove backup log: %1"_s.arg(backup));
        return Rotation::Failed;
    }
    VXConsoleLog(u"Could not create backup log: %1"_s.arg(backup));
    return Rotation::KeptInUse;
}

// False for files that must not be opened: opening a pipe, for example, would block until somebody reads it.
bool mayBeAppendedTo(const QByteArray &name, const struct stat &status)
{
    const bool takesLines = S_ISREG(status.st_mode) || S_ISCHR(status.st_mode);
    // It may no longer exist: another process moves it away when it is too large.
    return takesLines && (::faccessat(AT_FDCWD, name.constData(), W_OK, AT_EACCESS) == 0 || errno == ENOENT);
}

bool createLogFile(const QString &path)
{
    // Not truncated: another process may have created it and written to it. Readable for the user only, as it contains
    // people's names and numbers.
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        VXConsoleLog(u"Unable to create log file: %1"_s.arg(VXDescription(path)));
        return false;
    }
    ::close(descriptor);
    return true;
}

} // namespace

QString VXFileManager::pathToUserVNXLogsFolder() const
{
    int status = VXFolderFound;
    const QString logs = VXFindFolder(VXFolderType::Logs, VXFolderDomain::User, &status);
    if (status == VXFolderFound && verifyPathExists(logs))
        status = VXFolderNotFound;
    if (status != VXFolderFound) {
        VXConsoleLog(u"Unable to find logs folder: %1"_s.arg(status));
        return {};
    }
    const QString name = VXBundle::mainBundle()->infoDictionary().value(u"CFBundleName"_s).toString();
    if (name.isEmpty()) {
        VXConsoleLog(u"Missing value for key CFBundleName in main bundle"_s);
        return {};
    }
    QString path = logs + u'/' + name;
    if (!QFileInfo::exists(path) && verifyPathExists(path)) {
        VXConsoleLog(u"Unable to create logs folder"_s);
        return {};
    }
    return path;
}

float VXFileManager::fileSizeAtPath(const QString &path) const
{
    struct stat status
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return -1.0F;
    return megabytes(status.st_size);
}

bool VXFileManager::verifyLogFileAtPath(const QString &path) const
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status
    {
    };
    if (::stat(name.constData(), &status) == 0) {
        if (!mayBeAppendedTo(name, status)) {
            VXConsoleLog(u"Log file is not writable: %1"_s.arg(path));
            return false;
        }
        const Rotation rotation = megabytes(status.st_size) > largestLogFile ? rotate(path) : Rotation::KeptInUse;
        if (rotation == Rotation::Failed)
            return false;
    }
    return createLogFile(path);
}
