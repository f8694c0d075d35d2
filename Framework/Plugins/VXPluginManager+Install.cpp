#include "VXPluginManager.h"

#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXPluginScanner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

fs::path nativePath(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

bool isSameFolder(const QString &a, const QString &b)
{
    const QString real = QFileInfo(a).canonicalFilePath();
    return !real.isEmpty() && real == QFileInfo(b).canonicalFilePath();
}

// Also true for a link that leads nowhere.
bool isTaken(const QString &path)
{
    return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

// True when the link leads out of the bundle, or would once the bundle lies elsewhere.
bool leadsOutside(const fs::path &link, const fs::path &realBundle)
{
    std::error_code error;
    const fs::path written = fs::read_symlink(link, error);
    if (error || written.is_absolute())
        return true;
    const fs::path target =
        fs::weakly_canonical(link.parent_path() / written, error); // what it leads to may be missing
    const auto [end, ignored] = std::mismatch(realBundle.begin(), realBundle.end(), target.begin(), target.end());
    return error || end != realBundle.end();
}

// What is wrong with the links of a bundle, or why they cannot be looked at; null when nothing is.
QString problemOfLinks(const QString &bundlePath)
{
    std::error_code error;
    const fs::path realBundle = fs::canonical(nativePath(bundlePath), error);
    if (!error && fs::is_symlink(nativePath(bundlePath), error))
        return VXLocalizedString(u"It is a link to another place."_s);
    fs::recursive_directory_iterator entry(realBundle, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (entry->is_symlink() && leadsOutside(entry->path(), realBundle))
            return VXLocalizedString(u"Its link \"%1\" leads outside the bundle."_s)
                .arg(QFile::decodeName(entry->path().lexically_relative(realBundle).c_str()));
    }
    return error ? QString::fromStdString(error.message()) : QString();
}

// Why a bundle is none to be installed; null when it is.
QString problemOfBundle(const QString &path, const QVariantMap &info)
{
    if (!QFileInfo(path).isDir())
        return VXLocalizedString(u"There is no such bundle."_s);
    if (!path.endsWith(".vxplugin"_L1))
        return VXLocalizedString(u"The name of a plugin must end in \".vxplugin\"."_s);
    if (info.value(u"CFBundleIdentifier"_s).toString().isEmpty())
        return VXLocalizedString(u"Its Info.plist can not be read, or has no identifier."_s);
    return problemOfLinks(path);
}

// Brings the bundle beside its place first, where a full disk would show; only then the older copy goes to the trash.
VXError replaceItem(const QString &source, const QString &target, const VXLogOrigin &origin)
{
    VXFileManager &files = VXFileManager::defaultManager();
    QByteArray folder = QFile::encodeName(QFileInfo(target).path() + "/.install-XXXXXX"_L1);
    if (::mkdtemp(folder.data()) == nullptr)
        return VXMakeFileError(VXLocalizedString(u"Unable to install plugin."_s), qt_error_string(errno), target);
    const QString waiting = QFile::decodeName(folder) + u'/' + QFileInfo(target).fileName();
    VXError error = files.moveItemAtPath(source, waiting);
    if (!error) {
        error = files.safelyTrashFileAtPath(target);
        if (error)
            VXLogFrom(origin, VXLogError, error.description());
        else if ((error = files.moveItemAtPath(waiting, target)))
            VXLogFrom(origin, VXLogError, u"The older copy lies in the trash: %1"_s.arg(target));
        if (const VXError stuck = error ? files.moveItemAtPath(waiting, source) : VXError())
            VXLogFrom(origin, VXLogError, u"The plugin lies in \"%1\" now: %2"_s.arg(waiting, stuck.description()));
    }
    ::rmdir(folder.constData()); // does nothing while something lies there
    return error;
}

} // namespace

VXPluginInstallResult VXPluginManager::installBundleAtPath(const QString &path, VXError *error)
{
    QString pluginPath;
    const VXPluginInstallResult result = _installBundleAtPath(path, &pluginPath, error);
    if (result == VXPluginInstallResult::Installed) {
        addPluginForBundleAtPath(pluginPath);
        announceChange();
    }
    return result;
}

void VXPluginManager::installStagedPlugins()
{
    for (const QString &path : VXPluginScanner::pluginPathsInFolder(pathToInstallStagingFolder())) {
        QString pluginPath;
        if (_installBundleAtPath(path, &pluginPath, nullptr) != VXPluginInstallResult::Installed)
            VXLogMethod(VXLogError, "startup", "Could not install: "_L1 + path);
    }
}

// `pluginPath` is where the bundle then lies; set when the result is Installed.
VXPluginInstallResult VXPluginManager::_installBundleAtPath(const QString &givenPath, QString *pluginPath,
                                                            VXError *error)
{
    const VXLogOrigin origin = VXInstanceOrigin(this, "_installBundleAtPath:pluginPath:");
    const QString path = QDir::cleanPath(QFileInfo(givenPath).absoluteFilePath());
    const auto fail = [&](const QString &logged, const QString &reason) {
        VXLogFrom(origin, VXLogError, logged);
        VXSetError(error, VXMakeFileError(VXLocalizedString(u"Unable to install plugin."_s), reason, path));
        return VXPluginInstallResult::Failed;
    };

    const QString folder = QFileInfo(path).path();
    const bool isThere = QFileInfo(path).isDir();
    const QStringList searched = pluginFolderPaths();
    if (isThere && std::any_of(searched.cbegin(), searched.cend(),
                               [&](const QString &each) { return isSameFolder(each, folder); })) {
        *pluginPath = path;
        return VXPluginInstallResult::Installed;
    }
    const QVariantMap info = isThere ? VXPluginScanner::peekAtBundleInfo(path) : QVariantMap();
    if (const QString problem = problemOfBundle(path, info); !problem.isNull())
        return fail(u"Refused plugin %1: %2"_s.arg(path, problem), problem);

    const bool isStaged = isSameFolder(folder, pathToInstallStagingFolder());
    const bool mustWait = mustWaitForNextStart(path, info.value(u"CFBundleIdentifier"_s).toString());
    if (isStaged && mustWait)
        return VXPluginInstallResult::InstalledForNextStart;

    const QString targetFolder = mustWait ? pathToInstallStagingFolder() : pathToSharedPluginFolder();
    VXFileManager &files = VXFileManager::defaultManager();
    if (const VXError problem = files.verifyPathExists(targetFolder))
        return fail(problem.description(), problem.localizedDescription());
    const QString target = targetFolder + u'/' + QFileInfo(path).fileName();
    if (const VXError problem =
            isTaken(target) ? replaceItem(path, target, origin) : files.moveItemAtPath(path, target))
        return fail(u"Unable to move plugin: %1 -> %2"_s.arg(path, target), problem.localizedRecoverySuggestion());
    if (mustWait)
        return VXPluginInstallResult::InstalledForNextStart;
    *pluginPath = target;
    return VXPluginInstallResult::Installed;
}

// True when a copy that may be running can not be replaced: one of the same plugin, or one that lies in the place.
bool VXPluginManager::mustWaitForNextStart(const QString &path, const QString &identifier) const
{
    const QString place = pathToSharedPluginFolder() + u'/' + QFileInfo(path).fileName();
    return std::any_of(_proxies.cbegin(), _proxies.cend(), [&](const std::unique_ptr<VXPluginProxy> &proxy) {
        return proxy->isInstalled() && (proxy->identifier() == identifier || proxy->bundle()->bundlePath() == place);
    });
}
