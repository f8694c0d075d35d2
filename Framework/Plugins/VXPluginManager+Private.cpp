#include "VXPluginManager.h"

#include "VXApplication.h"
#include "VXContainer.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXNone.h"
#include "VXNotificationQueue.h"
#include "VXPluginGuard.h"
#include "VXPluginLoadMarker.h"
#include "VXPluginScanner.h"
#include "VXUserDefaults.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

struct VXPluginManager::BundleTree
{
    VXBundle::Ptr bundle;
    std::vector<BundleTree> children;
};

namespace {

QString versionOf(const VXPluginProxy &proxy)
{
    const VXBundle::Ptr bundle = proxy.bundle();
    return bundle ? bundle->infoDictionary().value(u"CFBundleVersion"_s).toString() : QString();
}

// The plugin's answer to a URL; invalid when it has none.
QVariant answerOf(VXPluginProxy &proxy, const char *selector, const QString &url)
{
    QVariant answer;
    if (proxy.singleton() && proxy.respondsToSelector(selector, 1))
        VXCallPlugin(proxy, selector, [&] { answer = proxy.performSelector(selector, {url}); });
    return VXIsNone(answer) ? QVariant() : answer;
}

} // namespace

// -- Adding bundles

VXPluginProxy *VXPluginManager::addPluginForBundleAtPath(const QString &path)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithPath(path); // held, to be read once
    const VXPluginProxy *const known = bundle ? pluginWithIdentifier(bundle->bundleIdentifier()) : nullptr;
    if (known != nullptr && known->isInstalled())
        return nullptr;
    VXError error;
    QSet<QString> identifiers;
    BundleTree tree;
    if (!openBundle(path, &tree, identifiers, &error)) {
        VXLogMethod(VXLogError, "addPluginForBundleAtPath:", error.description());
        VXApplication::sharedApplication().presentError(error);
        return nullptr;
    }
    announceChange();
    return addTree(tree);
}

// Opens the bundle with all that lie inside it, before any of them is registered: they come all or none.
bool VXPluginManager::openBundle(const QString &path, BundleTree *tree, QSet<QString> &identifiers,
                                 VXError *error) const
{
    const auto fail = [&](const QString &reason) {
        VXSetError(error, VXMakeFileError(VXLocalizedString(u"Unable to load plugin."_s), reason, path));
        return false;
    };
    tree->bundle = VXBundle::bundleWithPath(path);
    if (!tree->bundle)
        return fail(VXLocalizedString(u"There is no such bundle."_s));
    const QString identifier = tree->bundle->bundleIdentifier();
    if (identifier.isEmpty())
        return fail(VXLocalizedString(u"Its Info.plist can not be read, or has no identifier."_s));
    const VXPluginProxy *const known = pluginWithIdentifier(identifier);
    if (identifiers.contains(identifier) || (known != nullptr && known->isInstalled()))
        return fail(VXLocalizedString(u"There is another plugin with the identifier \"%1\"."_s).arg(identifier));
    identifiers.insert(identifier);
    const QStringList paths = VXPluginScanner::pluginPathsInFolder(tree->bundle->builtInPlugInsPath());
    tree->children.resize(static_cast<std::size_t>(paths.size()));
    for (qsizetype index = 0; index < paths.size(); ++index) {
        if (!openBundle(paths[index], &tree->children[static_cast<std::size_t>(index)], identifiers, error))
            return false;
    }
    return true;
}

VXPluginProxy *VXPluginManager::addTree(const BundleTree &tree)
{
    const QString identifier = tree.bundle->bundleIdentifier();
    VXPluginProxy *proxy = pluginWithIdentifier(identifier);
    if (proxy == nullptr) {
        std::unique_ptr<VXPluginProxy> made = VXPluginProxy::proxyWithIdentifier(identifier);
        proxy = made.get();
        registerPlugin(std::move(made));
    }
    proxy->setBundle(tree.bundle);
    QList<VXPluginProxy *> children;
    for (const BundleTree &child : tree.children) {
        children.append(addTree(child));
        children.last()->setParentProxy(proxy);
    }
    proxy->setChildProxies(children);
    dropKindCache();
    return proxy;
}

void VXPluginManager::registerPlugin(std::unique_ptr<VXPluginProxy> proxy)
{
    const QString identifier = proxy->identifier();
    VXAssert(!_plugins.contains(identifier), "Plugin is already loaded: "_L1 + VXDescription(identifier));
    _plugins.insert(identifier, proxy.get());
    _proxies.push_back(std::move(proxy));
    dropKindCache();
}

void VXPluginManager::announceChange()
{
    VXNotificationQueue::defaultQueue().enqueueNotification(VXPluginsDidChangeNotification);
}

void VXPluginManager::setPluginsEnabled(const QStringList &identifiers, bool flag)
{
    VXUserDefaults::standardUserDefaults().updateObject(u"plugins"_s, [identifiers, flag](const QVariant &current) {
        QStringList enabled = VXStringListFrom(current);
        enabled.removeIf([&](const QString &identifier) { return identifiers.contains(identifier); });
        if (flag)
            enabled += identifiers;
        enabled.removeDuplicates();
        return QVariant(enabled);
    });
}

// -- Start-up

// Says of each enabled plugin that is not to be loaded at this start why that is so.
void VXPluginManager::leaveOutPlugins()
{
    for (const VXPluginLoadMarker::Plugin &suspect : loadMarker().takeSuspects()) {
        const QString name = u"%1 %2 (%3)"_s.arg(suspect.identifier, VXDescription(suspect.version), suspect.path);
        const VXPluginProxy *const proxy = pluginWithIdentifier(suspect.identifier);
        const bool isSame = proxy != nullptr && proxy->isEnabled() && versionOf(*proxy) == suspect.version;
        if (isSame)
            _leftOut.insert(suspect.identifier,
                            VXLocalizedString(u"The program ended while this plugin was loading."_s));
        VXLogMethod(
            VXLogError, "startup",
            (isSame ? u"The program ended while a plugin was loading, which is left out this time: %1"_s
                    : u"The program ended while a plugin was loading, which is not enabled or has changed since: %1"_s)
                .arg(name));
    }
    if (!_safeMode)
        return;
    for (VXPluginProxy *const proxy : enabledPlugins()) {
        if (!proxy->rootProxy()->isBuiltInPlugin())
            _leftOut.insert(proxy->identifier(), VXLocalizedString(u"Safe mode loads built-in plugins only."_s));
    }
    VXLogMethod(VXLogNotice, "startup", u"Safe mode: %1 plugin(s) left out"_s.arg(_leftOut.size()));
}

void VXPluginManager::loadEnabledPlugins()
{
    QList<VXPluginProxy *> roots = enabledPlugins();
    roots.removeIf([](const VXPluginProxy *proxy) { return proxy->parentProxy() != nullptr; });
    std::sort(roots.begin(), roots.end(), [](const VXPluginProxy *a, const VXPluginProxy *b) {
        return a->isBuiltInPlugin() != b->isBuiltInPlugin() ? a->isBuiltInPlugin() : a->identifier() < b->identifier();
    });
    for (VXPluginProxy *const proxy : std::as_const(roots)) {
        if (!_leftOut.contains(proxy->identifier()) && !proxy->load())
            VXLogMethod(VXLogError, "startup", "Could not load: "_L1 + VXDescription(proxy->identifier()));
    }
}

void VXPluginManager::announceHeldPlugins()
{
    while (!_pluginsToLoad.isEmpty()) {
        const QPointer<VXPlugin> instance = _pluginsToLoad.takeFirst();
        if (!instance)
            continue;
        VXPluginProxy *const proxy = pluginWithIdentifier(VXIdentifierOfPlugin(*instance));
        if (proxy != nullptr)
            willLoadPlugin(*proxy);
        instance->_pluginDidLoad();
        if (proxy != nullptr)
            didLoadPlugin(*proxy);
    }
}

VXPluginLoadMarker &VXPluginManager::loadMarker()
{
    if (!_loadMarker)
        _loadMarker = std::make_unique<VXPluginLoadMarker>(
            VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/Loading Plugins"_L1);
    return *_loadMarker;
}

void VXPluginManager::willLoadPlugin(VXPluginProxy &proxy)
{
    const VXBundle::Ptr bundle = proxy.bundle();
    loadMarker().willLoad({proxy.identifier(), versionOf(proxy), bundle ? bundle->bundlePath() : QString()});
}

void VXPluginManager::didLoadPlugin(VXPluginProxy &)
{
    loadMarker().didLoad();
    if (!_isStarting) // until then the file serves the next plugin
        loadMarker().removeWhenDone();
}

// -- URLs

QVariant VXPluginManager::openURLString(const QString &url) const
{
    const bool isObject = url.startsWith("x-coredata:"_L1, Qt::CaseInsensitive);
    const char *const selector = isObject ? "openManagedObjectWithURIRepresentation" : "openURLString";
    for (VXPluginProxy *const proxy : isObject ? dataPlugins() : interfacePlugins()) {
        if (QVariant answer = answerOf(*proxy, selector, url); answer.isValid())
            return answer;
    }
    return {};
}
