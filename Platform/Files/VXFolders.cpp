#include "VXFolders.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QStandardPaths>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maximumPathBytes = 1024;

// A base folder: the variable when it holds an absolute path (others are to be ignored), else below home;
// null without a home.
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
