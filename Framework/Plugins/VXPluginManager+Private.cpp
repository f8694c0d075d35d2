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
#include "VXPluginKind.h"
#include "VXPluginMarker.h"
#include "VXPluginPaths.h"
#include "VXPluginScanner.h"
#include "VXPluginSuspects.h"
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

bool ships(const VXPluginProxy &proxy)
{
    const QString path = proxy.bundle()->bundlePath();
    return VXIsInsideFolder(path, VXBundle::mainBundle()->builtInPlugInsPath()) ||
           VXIsInsideFolder(path, VXFrameworkBundle()->bundlePath());
}

// The plugin's result for a URL; invalid when it has none, or failed; then `reason` says why.
QVariant answerOf(VXPluginProxy &proxy, const char *selector, const QString &url, QString *reason)
{
    if (!proxy.singleton() || !proxy.respondsToSelector(selector, 1))
        return {};
    const QVariant answer = proxy.performSelector(selector, {url}, reason);
    return VXIsNone(answer) ? QVariant() : answer;
}

} // namespace

// -- Adding bundles

VXPluginProxy *VXPluginManager::addPluginForBundleAtPath(const QString &path)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithPath(path); // held so that it is read only once
    const VXPluginProxy *const known = bundle ? pluginWithIdentifier(bundle->bundleIdentifier()) : nullptr;
    if (known != nullptr && known->isInstalled())
        return nullptr;
    VXError error;
    QHash<QString, QString> paths;
    BundleTree tree;
    if (!openBundle(path, &tree, paths, &error)) {
        VXLogMethod(VXLogError, "addPluginForBundleAtPath:", error.description());
        VXApplication::sharedApplication().presentError(error);
        return nullptr;
    }
    announceChange();
    return addTree(tree);
}

// Opens the bundle and all bundles inside it before any is registered: all are added or none.
bool VXPluginManager::openBundle(const QString &path, BundleTree *tree, QHash<QString, QString> &paths,
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
        return fail(VXLocalizedString(u"Its Info.plist cannot be read, or has no identifier."_s));
    const VXPluginProxy *const known = pluginWithIdentifier(identifier);
    const QString taken =
        known != nullptr && known->isInstalled() ? known->bundle()->bundlePath() : paths.value(identifier);
    if (!taken.isNull())
        return fail(
            VXLocalizedString(u"There is another plugin with the identifier \"%1\": %2"_s).arg(identifier, taken));
    paths.insert(identifier, tree->bundle->bundlePath());
    const QStringList inside = VXPluginScanner::pluginPathsInFolder(tree->bundle->builtInPlugInsPath());
    tree->children.resize(static_cast<std::size_t>(inside.size()));
    for (qsizetype index = 0; index < inside.size(); ++index) {
        if (!openBundle(inside[index], &tree->children[static_cast<std::size_t>(index)], paths, error))
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

// A plugin that was at work in one crash may have been killed from outside; after two in a row it is left out. Except
// for built-in data plugins: the data that others store with them would be lost silently.
void VXPluginManager::leaveOutSuspects()
{
    for (const auto &[plugin, ends] : VXPluginSuspects::collect()) {
        VXPluginProxy *const proxy = pluginWithIdentifier(plugin.identifier);
        if (proxy == nullptr || proxy->infoText(u"CFBundleVersion"_s) != plugin.version)
            continue; // the plugin is gone, or was replaced
        const QString work = VXNameOfPluginWork(plugin.work);
        const bool isToBlame = ends >= VXPluginSuspects::endsToBlame;
        const bool isNeeded = proxy->isBuiltInPlugin() && proxy->pluginClassType() == VXPluginKind::Data;
        QString what = isToBlame ? VXLocalizedString(u"The program ended %1 times in a row while this plugin was %2."_s)
                                       .arg(QString::number(ends), work)
                                 : VXLocalizedString(u"The program ended while this plugin was %1."_s).arg(work);
        if (!proxy->isEnabled()) { // most likely it crashed while being enabled
            proxy->setLoadError(what);
            continue;
        }
        QString consequence = VXLocalizedString(u"It is tried once more."_s);
        if (isToBlame && isNeeded) {
            consequence = VXLocalizedString(u"It is tried all the same, because other plugins store with it."_s);
        } else if (isToBlame) {
            consequence = VXLocalizedString(u"It is left out until it is retried: vornix plugins retry %1"_s)
                              .arg(plugin.identifier);
            _leftOut.insert(plugin.identifier, what);
        }
        const QString notice = u"%1 %2 (%3): %4 %5"_s.arg(plugin.identifier, VXDescription(plugin.version), plugin.path,
                                                          what, consequence);
        VXLogMethod(VXLogError, "startup", notice);
        _startupNotices.append(notice);
    }
}

void VXPluginManager::leaveOutForSafeMode()
{
    if (!_safeMode)
        return;
    for (VXPluginProxy *const proxy : enabledPlugins()) {
        const VXPluginProxy &root = *proxy->rootProxy();
        if (!root.isBuiltInPlugin())
            _leftOut.insert(proxy->identifier(), VXLocalizedString(u"Safe mode loads built-in plugins only."_s));
        else if (!ships(root)) // a root without a name counts as built-in, but may crash every start like any other
            _leftOut.insert(proxy->identifier(),
                            VXLocalizedString(u"Safe mode loads only plugins that ship with the program."_s));
    }
    VXLogMethod(VXLogNotice, "startup", u"Safe mode: %1 plugin(s) left out"_s.arg(_leftOut.size()));
}

void VXPluginManager::loadEnabledPlugins()
{
    QList<VXPluginProxy *> roots = enabledPlugins();
    roots.removeIf([this](const VXPluginProxy *proxy) {
        return proxy->parentProxy() != nullptr || (_isWanted && !_isWanted(*proxy));
    });
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
        VXPluginProxy *const proxy = instance ? pluginWithIdentifier(VXIdentifierOfPlugin(*instance)) : nullptr;
        if (proxy == nullptr)
            continue; // unloaded meanwhile
        const VXPluginMarker::Scope mark(*proxy, VXPluginWork::Loading);
        if (const QString problem = instance->_pluginDidLoad(); !problem.isNull())
            proxy->setLoadError(problem);
    }
}

// -- URLs

QVariant VXPluginManager::openURLString(const QString &url)
{
    _lastURLProblem = QString();
    const bool isObject = url.startsWith("x-coredata:"_L1, Qt::CaseInsensitive);
    const char *const selector = isObject ? "openManagedObjectWithURIRepresentation" : "openURLString";
    for (VXPluginProxy *const proxy : isObject ? dataPlugins() : interfacePlugins()) {
        std::optional<VXPluginMarker::Scope> mark;
        if (_restoresWindows)
            mark.emplace(*proxy, VXPluginWork::RestoringWindows);
        QString reason;
        QVariant answer = answerOf(*proxy, selector, url, &reason);
        if (!reason.isNull() && _lastURLProblem.isNull())
            _lastURLProblem = VXLocalizedString(u"The plugin %1 failed: %2"_s).arg(proxy->identifier(), reason);
        const bool isRefusal = isObject && answer.typeId() == QMetaType::Bool && !answer.toBool();
        if (answer.isValid() && !isRefusal)
            return answer;
    }
    return {};
}
