#include "VXMakeWay.h"

#include "VXFileManager.h"

#include <QtCore/QFile>

#include <sys/stat.h>

bool VXMakeWayForFile(const QString &path)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0 || S_ISREG(status.st_mode))
        return true;
    if (S_ISLNK(status.st_mode))
        return QFile::remove(path);
    return !VXFileManager::defaultManager().safelyTrashFileAtPath(path);
}
