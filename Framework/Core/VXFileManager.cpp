#include "VXFileManager.h"

#include "VXBundle.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXMethodLog.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto frameworkFolderName = "/Vornix 2"_L1;
constexpr qsizetype shortestUsefulPath = 5;

VXError folderError(const QString &path)
{
    return {VXURLErrorDomain,
            -3000,
            {{VXLocalizedDescriptionKey, u"Could not create folder."_s},
             {VXFailingURLErrorKey, QUrl::fromLocalFile(path)},
             {u"Path"_s, path}}};
}

// Whether the path is below the home folder, or one of the user's other folders outside of it.
bool isUsersOwn(const QString &path)
{
    const auto isBelow = [&path](const QString &folder) {
        return !folder.isEmpty() && (path == folder || path.startsWith(folder + u'/'));
    };
    using Type = VXFolderType;
    return path.startsWith(QDir::homePath() + u'/') ||
           std::ranges::any_of(std::array{Type::ApplicationSupport, Type::Caches, Type::Logs, Type::Preferences},
                               [&](Type type) { return isBelow(VXFindFolder(type, VXFolderDomain::User)); });
}

bool makeFolder(const QString &path)
{
    // Readable for the user only, as the XDG folders should be: they hold contacts, calls and messages.
    const mode_t mode = isUsersOwn(path) ? 0700 : 0777;
    // Another thread or process may create it at the same moment.
    return ::mkdir(QFile::encodeName(path).constData(), mode) == 0 || QFileInfo(path).isDir();
}

} // namespace

VXFileManager &VXFileManager::defaultManager()
{
    static auto *const manager = new VXFileManager;
    return *manager;
}

QString VXFileManager::pathToFolder(VXFolderType type, VXFolderDomain domain) const
{
    const auto typeCode = static_cast<unsigned>(type);
    const auto domainCode = static_cast<unsigned>(static_cast<int>(domain));
    int status = VXFolderFound;
    QString path = VXFindFolder(type, domain, &status);
    VXAssert(status == VXFolderFound || status == VXFolderPathTooLong,
             QString::asprintf("Unable to find folder 0x%X/0x%X: %d", typeCode, domainCode, status));
    VXAssert(status == VXFolderFound,
             QString::asprintf("Unable to make path from folder 0x%X/0x%X: %d", typeCode, domainCode, status));
    VXAssert(path.size() >= shortestUsefulPath,
             QString::asprintf("Invalid path to folder 0x%X/0x%X: \"", typeCode, domainCode) + path + u'"');
    return path;
}

QString VXFileManager::pathToLocalApplicationsFolder() const
{
    return pathToFolder(VXFolderType::Applications, VXFolderDomain::Local);
}

QString VXFileManager::pathToLocalVNXApplicationSupportFolder() const
{
    return pathToFolder(VXFolderType::ApplicationSupport, VXFolderDomain::Local) + frameworkFolderName;
}

QString VXFileManager::pathToUserVNXApplicationSupportFolder() const
{
    return pathToFolder(VXFolderType::ApplicationSupport, VXFolderDomain::User) + frameworkFolderName;
}

QString VXFileManager::pathToUserDesktopFolder() const
{
    return pathToFolder(VXFolderType::Desktop, VXFolderDomain::User);
}

QString VXFileManager::pathToUserCachedDataFolder() const
{
    // Never the cache folder of all applications, as callers may empty the result.
    const QString identifier = VXBundle::mainBundle()->bundleIdentifier();
    return pathToFolder(VXFolderType::Caches, VXFolderDomain::User) + u'/' +
           (identifier.isEmpty() ? VXFrameworkIdentifier : identifier);
}

QString VXFileManager::pathToUserMetadataFolder() const
{
    return pathToFolder(VXFolderType::Caches, VXFolderDomain::User) + "/Metadata"_L1 + frameworkFolderName;
}

QString VXFileManager::pathToUserTrashFolder() const
{
    return pathToFolder(VXFolderType::Trash, VXFolderDomain::User);
}

VXError VXFileManager::verifyPathExists(const QString &path) const
{
    for (qsizetype end = 0; end < path.size(); ++end) {
        end = path.indexOf(u'/', end);
        end = end < 0 ? path.size() : end;
        const QString prefix = path.left(end);
        if (!prefix.isEmpty() && !QFileInfo(prefix).isDir() && !makeFolder(prefix))
            return folderError(prefix);
    }
    return {};
}

QString VXFileManager::createUniqueTemporaryFolder(const QString &baseName) const
{
    if (baseName.isNull())
        return {};
    QByteArray path = QFile::encodeName(QDir::tempPath() + u'/' + baseName + ".XXXXXX"_L1);
    // With a slash in its name the folder would not be in the temporary folder.
    const int error = baseName.contains(u'/') ? EINVAL : (::mkdtemp(path.data()) == nullptr ? errno : 0);
    if (error != 0) {
        VXLogMethod(VXLogError, "createUniqueTemporaryFolder", u"errno: %1"_s.arg(error));
        return {};
    }
    return QFile::decodeName(path);
}
