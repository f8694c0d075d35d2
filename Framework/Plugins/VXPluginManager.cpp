#include "VXPluginManager.h"

#include "VXApplication.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXNotificationQueue.h"
#include "VXPluginGuard.h"
#include "VXPluginInstaller.h"
#include "VXPluginKind.h"
#include "VXPluginMarker.h"
#include "VXPluginPaths.h"
#include "VXPluginScanner.h"
#include "VXPluginSuspects.h"
#include "VXPluginUnloadRun.h"
#include "VXUserDefaults.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

const VXNotificationName VXPluginsDidChangeNotification(u"VXPluginsDidChangeNotification"_s);
const VXNotificationName VXPluginDidEnableNotification(u"VXPluginDidEnableNotification"_s);

namespace {

template <class Predicate>
QList<VXPluginProxy *> filtered(const std::vector<std::unique_ptr<VXPluginProxy>> &proxies, Predicate predicate)
{
    QList<VXPluginProxy *> result;
    for (const auto &proxy : proxies) {
        if (predicate(*proxy))
            result.append(proxy.get());
    }
    return result;
}

} // namespace

VXPluginManager &VXPluginManager::sharedPluginManager()
{
    static auto *const manager = new VXPluginManager;
    return *manager;
}

VXPluginManager::VXPluginManager()
{
    VXInitializeFramework();
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    center.addObserver(
        this, VXUserDefaultsDidChangeNotification, [this](const VXNotification &) { dropKindCache(); }, u"plugins"_s);
    // A plugin may be unloaded before it was announced.
    center.addObserver(this, VXPluginWillUnloadNotification, [this](const VXNotification &notification) {
        _pluginsToLoad.removeAll(notification.object.value<VXPlugin *>());
    });
}

VXPluginManager::~VXPluginManager() = default;

// -- Queries

QList<VXPluginProxy *> VXPluginManager::allPlugins() const
{
    return filtered(_proxies, [](const VXPluginProxy &) { return true; });
}

QList<VXPluginProxy *> VXPluginManager::enabledPlugins() const
{
    return filtered(_proxies, [](const VXPluginProxy &proxy) { return proxy.isEnabled(); });
}

VXPluginProxy *VXPluginManager::pluginWithIdentifier(const QString &identifier) const
{
    return _plugins.value(identifier);
}

QList<VXPluginProxy *> VXPluginManager::pluginsWithInfoDictionaryKey(const QString &key, const QVariant &value) const
{
    return filtered(_proxies, [&](const VXPluginProxy &proxy) {
        if (!proxy.isEnabled() || !proxy.isInstalled())
            return false;
        const QVariantMap info = proxy.bundle()->infoDictionary();
        const auto entry = info.constFind(key);
        return entry != info.cend() && (!value.isValid() || *entry == value);
    });
}

QList<VXPluginProxy *> VXPluginManager::pluginsWithClassName(const QString &kind) const
{
    if (_kindCacheIsStale.exchange(false))
        _pluginsByClass.clear();
    if (const auto known = _pluginsByClass.constFind(kind); known != _pluginsByClass.cend())
        return *known;
    const QList<VXPluginProxy *> plugins = filtered(_proxies, [&kind](const VXPluginProxy &proxy) {
        return proxy.isEnabled() && proxy.isInstalled() && proxy.pluginClassType() == kind;
    });
    _pluginsByClass.insert(kind, plugins);
    return plugins;
}

QList<VXPluginProxy *> VXPluginManager::dataPlugins() const
{
    return pluginsWithClassName(VXPluginKind::Data);
}

QList<VXPluginProxy *> VXPluginManager::exporterPlugins() const
{
    return pluginsWithClassName(VXPluginKind::Exporter);
}

QList<VXPluginProxy *> VXPluginManager::interfacePlugins() const
{
    return pluginsWithClassName(VXPluginKind::Interface);
}

QList<VXPluginProxy *> VXPluginManager::phonebookPlugins() const
{
    return pluginsWithClassName(VXPluginKind::Phonebook);
}

QList<VXPluginProxy *> VXPluginManager::reactorPlugins() const
{
    return pluginsWithClassName(VXPluginKind::Reactor);
}

QList<VXPluginProxy *> VXPluginManager::eventPostingPlugins() const
{
    return pluginsWithInfoDictionaryKey(u"VXPostsEvents"_s);
}

// -- Life cycle

void VXPluginManager::startup()
{
    VXApplication &application = VXApplication::sharedApplication();
    application.setShouldTerminateHandler([this] { return static_cast<VXTerminateReply>(shouldShutdown()); });
    application.setOpenURLHandler([this](const QString &url) { return openURLString(url); });

    const VXPluginMarker::Scope mark; // keeps one file open for all that follows
    _holdsAnnouncements = true;
    if (!loadsOnlySome())
        VXPluginInstaller(*this).installStaged();
    findPlugins();
    announceChange();
    loadEnabledPlugins();
    _holdsAnnouncements = false;
    announceHeldPlugins();
    if (!loadsOnlySome())
        restoreOpenWindows();
}

void VXPluginManager::findPlugins()
{
    _scanner = std::make_unique<VXPluginScanner>(pluginFolderPaths(), pathToSharedPluginFolder());
    for (const QString &path : _scanner->latestPluginPaths())
        addPluginForBundleAtPath(path);
    if (!loadsOnlySome())
        leaveOutSuspects();
    leaveOutForSafeMode();
}

// -- Changes

bool VXPluginManager::enablePluginProxy(VXPluginProxy *proxy)
{
    VXAssert(proxy->parentProxy() == nullptr, "Plugin is not a root plugin: "_L1 + VXDescription(proxy->identifier()));
    if (proxy->isEnabled())
        return true;
    const QString identifier = proxy->identifier();
    setPluginsEnabled({identifier}, true);
    if (_leftOut.remove(identifier) > 0) // enabling it means to try it again
        VXPluginSuspects::giveAnotherChance(identifier);
    const bool isLoaded = proxy->load();
    if (isLoaded)
        VXNotificationQueue::defaultQueue().enqueueNotification(VXPluginDidEnableNotification,
                                                                QVariant::fromValue(proxy));
    else
        setPluginsEnabled({identifier}, false);
    return isLoaded;
}

VXPluginInstallResult VXPluginManager::installBundleAtPath(const QString &path, VXError *error)
{
    QString pluginPath;
    const VXPluginInstallResult result = VXPluginInstaller(*this).install(path, &pluginPath, error);
    if (result == VXPluginInstallResult::Installed) {
        addPluginForBundleAtPath(pluginPath);
        announceChange();
    }
    return result;
}

void VXPluginManager::loadPluginInstance(VXPlugin *instance)
{
    VXPluginProxy *const proxy = pluginWithIdentifier(VXIdentifierOfPlugin(*instance));
    const auto isFine = [proxy](const QString &problem) {
        if (proxy != nullptr && !problem.isNull())
            proxy->setLoadError(problem);
        return problem.isNull();
    };
    if (!isFine(instance->callPluginWillLoad()))
        return;
    if (_holdsAnnouncements)
        _pluginsToLoad.append(instance);
    else
        isFine(instance->_pluginDidLoad());
}

void VXPluginManager::unloadPluginInstance(VXPlugin *instance)
{
    const QPointer<VXPlugin> kept = instance; // its proxy may be the only owner
    if (VXPluginProxy *const proxy = pluginWithIdentifier(VXIdentifierOfPlugin(*instance)))
        proxy->removeInstance(instance);
    if (kept)
        kept->_pluginWillUnload();
}

// -- Folders

QStringList VXPluginManager::pluginFolderPaths() const
{
    static const QStringList paths = [this] {
        QStringList folders{VXBundle::mainBundle()->builtInPlugInsPath(), VXFrameworkBundle()->resourcesPath()};
        folders += qEnvironmentVariable("VORNIX_PLUGIN_PATH").split(u':', Qt::SkipEmptyParts);
        folders += pathToSharedPluginFolder();
        std::transform(folders.cbegin(), folders.cend(), folders.begin(), VXStandardizedPath);
        folders.removeDuplicates();
        return folders;
    }();
    return paths;
}

QString VXPluginManager::pathToSharedPluginFolder() const
{
    static const QString path =
        VXStandardizedPath(VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/PlugIns"_L1);
    return path;
}

QString VXPluginManager::pathToInstallStagingFolder() const
{
    static const QString path = pathToSharedPluginFolder() + " (Install)"_L1;
    return path;
}

// -- Containment

QString VXPluginManager::problemOfPlugin(const QString &identifier) const
{
    if (const auto reason = _leftOut.constFind(identifier); reason != _leftOut.cend())
        return *reason;
    const VXPluginProxy *const proxy = pluginWithIdentifier(identifier);
    return proxy == nullptr ? QString() : proxy->loadError();
}

bool VXPluginManager::retryPlugin(const QString &identifier)
{
    _leftOut.remove(identifier);
    VXPluginSuspects::giveAnotherChance(identifier);
    VXPluginProxy *const proxy = pluginWithIdentifier(identifier);
    return proxy != nullptr && proxy->isEnabled() && proxy->rootProxy()->load();
}

std::optional<VXPluginChoice> VXPluginManager::choiceForPlugin(const QString &identifier) const
{
    if (!_scanner || !_scanner->choices().contains(identifier))
        return std::nullopt;
    return _scanner->choices().value(identifier);
}
