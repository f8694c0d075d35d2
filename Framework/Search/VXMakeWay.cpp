#include "VXMakeWay.h"

#include "VXFileManager.h"

#include <QtCore/QFile>

#include <sys/stat.h>

namespace {

// `type`: the type of file that may stay at the path.
bool makeWay(const QString &path, mode_t type)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0 || (status.st_mode & S_IFMT) == type)
        return true;
    if (S_ISLNK(status.st_mode))
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
