#include "VXFileStamp.h"

#include <QtCore/QFile>

#include <sys/stat.h>

namespace {

VXFileStamp stampOf(const struct stat &status)
{
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

} // namespace

VXFileStamp VXFileStamp::ofPath(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? stampOf(status) : VXFileStamp();
}

VXFileStamp VXFileStamp::ofDescriptor(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 ? stampOf(status) : VXFileStamp();
}
