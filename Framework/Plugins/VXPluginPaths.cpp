#include "VXPluginPaths.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

QString VXStandardizedPath(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString VXRealPath(const QString &path)
{
    const QString real = QFileInfo(path).canonicalFilePath();
    return real.isEmpty() ? VXStandardizedPath(path) : real;
}

bool VXIsInsideFolder(const QString &path, const QString &folder)
{
    return VXRealPath(path).startsWith(VXRealPath(folder) + u'/');
}
