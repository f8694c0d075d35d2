#include "VXMakeWay.h"

#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXLog.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostAside = 100;

// What the user has closed to himself he can open again.
bool isClosedByOther(const QByteArray &path, const struct stat &status)
{
    const int mode = R_OK | W_OK | (S_ISDIR(status.st_mode) ? X_OK : 0);
    return status.st_uid != ::geteuid() && ::faccessat(AT_FDCWD, path.constData(), mode, AT_EACCESS) != 0;
}

// To another folder only its owner can move a folder.
bool moveAside(const QString &path)
{
    for (int number = 1; number <= mostAside; ++number) {
        const QString aside = path + ".other-user-"_L1 + QString::number(number);
        if (::renameat2(AT_FDCWD, QFile::encodeName(path).constData(), AT_FDCWD, QFile::encodeName(aside).constData(),
                        RENAME_NOREPLACE) == 0) {
            VXLog::log(VXLogNotice, "%1: another user made it, and it lies in %2 now"_L1.arg(path, aside));
            return true;
        }
        if (errno != EEXIST)
            break;
    }
    VXLog::log(VXLogWarning,
               "%1: another user made it, and it cannot be moved away: %2"_L1.arg(path, qt_error_string(errno)));
    return false;
}

// `type`: what may stay there.
bool makeWay(const QString &path, mode_t type)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status = {};
    if (::lstat(name.constData(), &status) != 0)
        return true;
    const bool isOfType = (status.st_mode & S_IFMT) == type;
    if (isOfType && !isClosedByOther(name, status))
        return true;
    if (isOfType && type == S_IFDIR)
        return moveAside(path);
    if (isOfType || S_ISLNK(status.st_mode))
        return QFile::remove(path);
    return !VXFileManager::defaultManager().safelyTrashFileAtPath(path);
}

} // namespace

bool VXMakeWayForFile(const QString &path)
{
    return makeWay(path, S_IFREG);
}

bool VXMakeWayForFolder(const QString &path)
{
    return makeWay(path, S_IFDIR);
}

bool VXMakeMetadataFolder(QString *reason)
{
    const QString path = VXFileManager::defaultManager().pathToUserMetadataFolder();
    for (const QString &each : {QFileInfo(path).path(), path}) {
        const QFileInfo present(each);
        if (!present.isSymLink() && !VXMakeWayForFolder(each)) { // one to a disk that is not there now stays
            *reason = u"What lies there cannot be moved away."_s;
            return false;
        }
    }
    return VXMakePrivateFolder(path, reason);
}
