#include "VXFolders.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QStandardPaths>

#include <cerrno>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maximumPathBytes = 1024;

// A base folder: the variable if it is an absolute path (others have to be ignored), otherwise below home; null without
// a home.
QString baseFolder(const char *variable, QLatin1StringView belowHome, QLatin1StringView subfolder = {})
{
    QString base = QFile::decodeName(qgetenv(variable));
    if (!QDir::isAbsolutePath(base)) {
        base = QFile::decodeName(qgetenv("HOME"));
        if (!QDir::isAbsolutePath(base))
            return {};
        base += u'/' + belowHome;
    }
    return QDir::cleanPath(base + subfolder);
}

QString userFolder(VXFolderType type)
{
    switch (type) {
    case VXFolderType::Applications:
        return baseFolder("XDG_DATA_HOME", ".local/share"_L1, "/applications"_L1);
    case VXFolderType::ApplicationSupport:
        return baseFolder("XDG_DATA_HOME", ".local/share"_L1);
    case VXFolderType::Desktop:
        return QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
    case VXFolderType::Caches:
        return baseFolder("XDG_CACHE_HOME", ".cache"_L1);
    case VXFolderType::Trash:
        return baseFolder("XDG_DATA_HOME", ".local/share"_L1, "/Trash/files"_L1);
    case VXFolderType::Logs:
        return baseFolder("XDG_STATE_HOME", ".local/state"_L1);
    case VXFolderType::Preferences:
        return baseFolder("XDG_CONFIG_HOME", ".config"_L1);
    }
    return {};
}

QString localFolder(VXFolderType type)
{
    switch (type) {
    case VXFolderType::Applications:
        return u"/usr/local/share/applications"_s;
    case VXFolderType::ApplicationSupport:
        return u"/usr/local/share"_s;
    case VXFolderType::Preferences:
        return u"/etc/xdg"_s;
    default:
        return {};
    }
}

} // namespace

QString VXFindFolder(VXFolderType type, VXFolderDomain domain, int *status)
{
    QString path = domain == VXFolderDomain::User ? userFolder(type) : localFolder(type);
    int result = VXFolderFound;
    if (!QDir::isAbsolutePath(path))
        result = VXFolderNotFound;
    else if (QFile::encodeName(path).size() >= maximumPathBytes)
        result = VXFolderPathTooLong;
    if (status != nullptr)
        *status = result;
    return result == VXFolderFound ? path : QString();
}

bool VXMakePrivateFolder(const QString &path, QString *reason)
{
    const auto fail = [reason](int problem) {
        if (reason != nullptr)
            *reason = qt_error_string(problem);
        return false;
    };
    const QByteArray folder = QFile::encodeName(QDir::cleanPath(path));
    for (qsizetype slash = folder.indexOf('/', 1); slash > 0; slash = folder.indexOf('/', slash + 1)) {
        if (::mkdir(folder.first(slash).constData(), 0700) != 0 && errno != EEXIST && errno != EROFS && errno != EACCES)
            return fail(errno);
    }
    if (::mkdir(folder.constData(), 0700) == 0)
        return true;
    const int problem = errno;
    struct stat status = {};
    if (::stat(folder.constData(), &status) != 0)
        return fail(problem);
    if (!S_ISDIR(status.st_mode))
        return fail(ENOTDIR);
    if (status.st_uid == ::geteuid() && (status.st_mode & 077) != 0)
        ::chmod(folder.constData(), status.st_mode & 0700); // if that fails, it still is a folder
    return true;
}

bool VXExistsAtPath(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0;
}

QString VXStandardizedPath(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString VXExpandTilde(const QString &path)
{
    if (!path.startsWith(u'~'))
        return path;
    const qsizetype slash = path.indexOf(u'/');
    const QString name = path.sliced(1, (slash < 0 ? path.size() : slash) - 1);
    const QString rest = slash < 0 ? QString() : path.sliced(slash);
    if (name.isEmpty())
        return QDir::homePath() + rest;
    passwd entry = {};
    passwd *found = nullptr;
    QByteArray buffer(16 * 1024, Qt::Uninitialized);
    ::getpwnam_r(name.toLocal8Bit().constData(), &entry, buffer.data(), static_cast<size_t>(buffer.size()), &found);
    return found == nullptr ? path : QFile::decodeName(found->pw_dir) + rest;
}

void VXSetHomeFolder(const QString &path)
{
    const QString home = QDir::cleanPath(QDir::current().absoluteFilePath(path));
    const auto set = [&home](const char *variable, QLatin1StringView below) {
        qputenv(variable, QFile::encodeName(home + below));
    };
    set("HOME", ""_L1);
    set("XDG_DATA_HOME", "/.local/share"_L1);
    set("XDG_CONFIG_HOME", "/.config"_L1);
    set("XDG_STATE_HOME", "/.local/state"_L1);
    set("XDG_CACHE_HOME", "/.cache"_L1);
}
