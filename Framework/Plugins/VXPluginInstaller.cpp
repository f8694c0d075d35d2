#include "VXPluginInstaller.h"

#include "VXErrorDomain.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXPluginPaths.h"
#include "VXPluginScanner.h"
#include "VXVersion.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

const QString identifierKey = u"CFBundleIdentifier"_s;
const QString storeKey = u"VXDataStoreName"_s;

fs::path nativePath(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

bool isSameFolder(const QString &a, const QString &b)
{
    return QFileInfo::exists(a) && VXRealPath(a) == VXRealPath(b);
}

// Whether the link leads out of the bundle, or would do so after the bundle is moved.
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

QString problemOfCode(const QString &path, const QVariantMap &info)
{
    const QString name = info.value(u"CFBundleExecutable"_s).toString();
    if (name.isEmpty())
        return VXLocalizedString(u"It has no code: its Info.plist names no CFBundleExecutable."_s);
    const QString file = u"Contents/Linux/"_s + name;
    if (name.contains(u'/') || !QFileInfo(path + u'/' + file).isFile())
        return VXLocalizedString(u"It has no code: there is no file \"%1\"."_s).arg(file);
    return {};
}

} // namespace

// A problem as well if the links cannot be examined.
QString VXPluginInstaller::problemOfLinks(const QString &bundlePath)
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

// If two plugins had the same store, a look-up by its name would be ambiguous, and both would open it.
QString VXPluginInstaller::problemOfStore(const VXPluginManager &manager, const QVariantMap &info, Others others)
{
    const QString store = info.value(storeKey).toString();
    const QList<VXPluginProxy *> plugins =
        store.isEmpty() ? QList<VXPluginProxy *>() : manager.pluginsWithInfoDictionaryKey(storeKey, store);
    for (const VXPluginProxy *const plugin : plugins) {
        const bool counts = others == Others::Loaded ? plugin->isLoaded() : plugin->isInstalled();
        if (counts && plugin->identifier() != info.value(identifierKey).toString())
            return VXLocalizedString(u"Its store \"%1\" is that of the plugin %2."_s).arg(store, plugin->identifier());
    }
    return {};
}

// Why a bundle cannot be installed; null when it can.
QString VXPluginInstaller::problemOfBundle(const QString &path, const QVariantMap &info) const
{
    if (!QFileInfo(path).isDir())
        return VXLocalizedString(u"There is no such bundle."_s);
    if (!path.endsWith(".vxplugin"_L1))
        return VXLocalizedString(u"The name of a plugin must end in \".vxplugin\"."_s);
    const QString identifier = info.value(identifierKey).toString();
    if (identifier.isEmpty())
        return VXLocalizedString(u"Its Info.plist cannot be read, or has no identifier."_s);
    const QString version = VXPluginScanner::versionOf(info);
    if (VXPluginScanner::isOutdated(version))
        return VXLocalizedString(u"Its version %1 is below %2, the oldest that the plugin folder takes."_s)
            .arg(version, QString::number(VXPluginScanner::oldestSharedVersion));
    if (const QString problem = problemOfCode(path, info); !problem.isNull())
        return problem;
    if (const QString problem = problemOfIdentifiers(path, identifier); !problem.isNull())
        return problem;
    if (const QString problem = problemOfStore(_manager, info, Others::Installed); !problem.isNull())
        return problem;
    const VXPluginProxy *const known = _manager.pluginWithIdentifier(identifier);
    const QString kind = info.value(u"VXPluginClass"_s).toString();
    if (known != nullptr && known->isInstalled() && known->pluginClassType() != kind)
        return VXLocalizedString(u"\"%1\" is of the kind \"%2\", but \"%3\", which has its identifier, is of the kind "
                                 "\"%4\": it is no update of that, but another plugin."_s)
            .arg(path, kind, known->bundle()->bundlePath(), known->pluginClassType());
    if (known != nullptr && known->isInstalled() &&
        !VXIsInsideFolder(known->bundle()->bundlePath(), _manager.pathToSharedPluginFolder())) {
        const QString used = known->infoText(u"CFBundleVersion"_s);
        if (vx_compareVersion(used, version) > 0)
            return VXLocalizedString(u"Its version %1 would not be used: %2 is version %3."_s)
                .arg(version, known->bundle()->bundlePath(), used);
    }
    return problemOfLinks(path);
}

// Every identifier of the bundle and of those inside it must be unique; only a copy that will be replaced may have it,
// too.
QString VXPluginInstaller::problemOfIdentifiers(const QString &path, const QString &rootIdentifier) const
{
    QHash<QString, QString> seen;
    QStringList bundles{path};
    while (!bundles.isEmpty()) {
        const QString bundle = bundles.takeFirst();
        const QString identifier = VXPluginScanner::peekAtBundleInfo(bundle).value(identifierKey).toString();
        if (identifier.isEmpty())
            return VXLocalizedString(u"The Info.plist of \"%1\" cannot be read, or has no identifier."_s).arg(bundle);
        VXPluginProxy *const known = _manager.pluginWithIdentifier(identifier);
        QString taken = seen.value(identifier);
        if (known != nullptr && known->isInstalled()) {
            const bool isPart = known->parentProxy() != nullptr;
            const bool isReplaced = known->rootProxy()->identifier() == rootIdentifier && isPart == (bundle != path);
            if (!isReplaced)
                taken = known->bundle()->bundlePath();
        }
        if (!taken.isNull())
            return VXLocalizedString(u"Its identifier \"%1\" is that of another plugin: %2"_s).arg(identifier, taken);
        seen.insert(identifier, bundle);
        bundles += VXPluginScanner::pluginPathsInFolder(bundle + "/Contents/PlugIns"_L1);
    }
    return {};
}

VXPluginInstallResult VXPluginInstaller::install(const QString &givenPath, QString *pluginPath, VXError *error)
{
    const QString path = VXStandardizedPath(givenPath);
    const auto fail = [&](const QString &logged, const QString &reason) {
        VXLogMethod(VXLogError, "install", logged);
        VXSetError(error, VXMakeFileError(VXLocalizedString(u"Unable to install plugin."_s), reason, path));
        return VXPluginInstallResult::Failed;
    };

    const QString folder = QFileInfo(path).path();
    const bool isThere = QFileInfo(path).isDir();
    const QStringList searched = _manager.pluginFolderPaths();
    if (isThere && std::any_of(searched.cbegin(), searched.cend(),
                               [&](const QString &each) { return isSameFolder(each, folder); })) {
        *pluginPath = path;
        return VXPluginInstallResult::Installed;
    }
    const QVariantMap info = isThere ? VXPluginScanner::peekAtBundleInfo(path) : QVariantMap();
    if (const QString problem = problemOfBundle(path, info); !problem.isNull())
        return fail(u"Refused plugin %1: %2"_s.arg(path, problem), problem);

    VXFileManager &files = VXFileManager::defaultManager();
    for (const QString &needed : {_manager.pathToSharedPluginFolder(), _manager.pathToInstallStagingFolder()}) {
        if (const VXError problem = files.verifyPathExists(needed))
            return fail(problem.description(), problem.localizedDescription());
    }
    // two processes may be installing the same bundle
    const VXFileLock lock(_manager.pathToInstallStagingFolder() + ".lock"_L1);
    if (!lock.isHeld() && !lock.isImpossible())
        return fail(lock.reason(), lock.reason());
    const QString identifier = info.value(identifierKey).toString();
    const bool isStaged = isSameFolder(folder, _manager.pathToInstallStagingFolder());
    const bool mustWait = mustWaitForNextStart(path, identifier);
    if (isStaged && mustWait)
        return VXPluginInstallResult::InstalledForNextStart;
    const QString name = u'/' + QFileInfo(path).fileName();
    const QString staged = isStaged ? path : _manager.pathToInstallStagingFolder() + name;
    const QString target = mustWait ? staged : _manager.pathToSharedPluginFolder() + name;
    VXError problem = isStaged ? VXError() : _placer.bringToStaging(path);
    if (!problem && !mustWait) {
        problem = _placer.place(staged, target);
        if (const VXError stuck = problem && !isStaged ? files.moveItemAtPath(staged, path) : VXError())
            VXLogMethod(VXLogError, "install", u"The plugin lies in \"%1\" now: %2"_s.arg(staged, stuck.description()));
    }
    if (problem)
        return fail(u"Unable to move plugin: %1 -> %2"_s.arg(path, target), problem.localizedRecoverySuggestion());
    if (mustWait)
        return VXPluginInstallResult::InstalledForNextStart;
    trashOtherCopies(target, identifier);
    *pluginPath = target;
    return VXPluginInstallResult::Installed;
}

void VXPluginInstaller::installStaged()
{
    _placer.finishInterrupted();
    for (const QString &path : VXPluginScanner::pluginPathsInFolder(_manager.pathToInstallStagingFolder())) {
        QString pluginPath;
        const VXPluginInstallResult result = install(path, &pluginPath, nullptr);
        // otherwise another process has installed it
        if (result != VXPluginInstallResult::Installed && VXExistsAtPath(path))
            VXLogFrom(VXInstanceOrigin(&_manager, "startup"), VXLogError, "Could not install: "_L1 + path);
    }
}

// Whether a copy that may be running would have to be replaced: one of the same plugin, or one at the same path.
bool VXPluginInstaller::mustWaitForNextStart(const QString &path, const QString &identifier) const
{
    const QString target = _manager.pathToSharedPluginFolder() + u'/' + QFileInfo(path).fileName();
    const QList<VXPluginProxy *> plugins = _manager.allPlugins();
    return std::any_of(plugins.cbegin(), plugins.cend(), [&](const VXPluginProxy *proxy) {
        return proxy->isInstalled() && (proxy->identifier() == identifier || proxy->bundle()->bundlePath() == target);
    });
}

// Trashes copies of the same plugin with other file names: of two in one folder the older one might be used.
void VXPluginInstaller::trashOtherCopies(const QString &target, const QString &identifier)
{
    for (const QString &path : VXPluginScanner::pluginPathsInFolder(_manager.pathToSharedPluginFolder())) {
        if (path == target || VXPluginScanner::peekAtBundleInfo(path).value(identifierKey).toString() != identifier)
            continue;
        const VXError error = VXFileManager::defaultManager().safelyTrashFileAtPath(path);
        VXLogMethod(error ? VXLogError : VXLogNotice, "trashOtherCopies",
                    error ? error.description() : u"Replaced by %1, and put into the trash: %2"_s.arg(target, path));
    }
}
