#include "VXPluginPaths.h"

#include "VXFileDescriptor.h"
#include "VXFolders.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <array>
#include <climits>
#include <fcntl.h>
#include <unistd.h>

namespace {

// As the kernel knows it. QFileInfo asks about each folder above, which is slow for the many paths of a start.
QString placeOf(const QString &path)
{
    const VXFileDescriptor item(::open(QFile::encodeName(path).constData(), O_PATH | O_CLOEXEC));
    if (!item.isOpen())
        return {};
    std::array<char, PATH_MAX> place{};
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(item.number());
    const ssize_t size = ::readlink(link.constData(), place.data(), place.size());
    const bool isWhole = size > 0 && size_t(size) < place.size();
    return isWhole ? QFile::decodeName(QByteArray(place.data(), size)) : QFileInfo(path).canonicalFilePath();
}

} // namespace

QString VXRealPath(const QString &path)
{
    const QString real = placeOf(path);
    return real.isEmpty() ? VXStandardizedPath(path) : real;
}

bool VXIsInsideFolder(const QString &path, const QString &folder)
{
    return VXRealPath(path).startsWith(VXRealPath(folder) + u'/');
}
