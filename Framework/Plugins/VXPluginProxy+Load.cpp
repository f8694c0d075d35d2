#include "VXPluginProxy.h"

#include "VXApplication.h"
#include "VXDiagnostics.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"
#include "VXPluginLeftovers.h"
#include "VXPluginManager.h"

#include <QtCore/QScopeGuard>

#include <algorithm>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

VXPluginProxy::InterfaceFileLoader &interfaceFileLoader()
{
    static VXPluginProxy::InterfaceFileLoader loader;
    return loader;
}

// An instance may stand on the call stack when its plugin is unloaded.
void deleteInstance(VXPlugin *instance)
{
    instance->deleteLater();
}

bool userLetsEnable(const VXPluginProxy &dependency, const VXPluginProxy &plugin)
{
    VXAlert alert;
    alert.message = VXLocalizedString(u"Enable plugin dependency?"_s);
    alert.informativeText = VXLocalizedString(u"%1 is required by the plugin %2 and should be enabled first."_s)
                                .arg(dependency.description(), plugin.description());
    alert.defaultButton = VXGlobalString(u"OK"_s);
    alert.alternateButton = VXGlobalString(u"Cancel"_s);
    VXUserInterface &user = VXApplication::sharedApplication().userInterface();
    return user.runAlert(alert).button == VXAlertButton::Default;
}

QString infoText(const VXBundle &bundle, const QString &key)
{
    return VXDescription(bundle.infoDictionary().value(key).toString());
}

} // namespace

void VXPluginProxy::setInterfaceFileLoader(InterfaceFileLoader loader)
{
    interfaceFileLoader() = std::move(loader);
}

bool VXPluginProxy::load()
{
    if (_loaded)
        return true;
    _loaded = true; // first, so that plugins that depend on each other come to an end
    ++_loads;
    _loadError = QString();
    if (const QString reason = VXPluginManager::sharedPluginManager()._leftOut.value(_identifier); !reason.isNull())
        return failLoading(u"Plugin %1 is left out: %2"_s.arg(VXDescription(_identifier), reason));
    if (!loadDependencies())
        return failLoading("Failed to load dependency for plugin: "_L1 + VXDescription(_identifier));
    if (createsSingletonInstance() && !loadSingleton())
        return failLoading("Failed to instantiate plugin: "_L1 + VXDescription(_identifier));
    return loadChildren();
}

bool VXPluginProxy::failLoading(const QString &problem)
{
    VXLogMethod(VXLogError, "load", problem);
    if (_loadError.isNull()) // the first problem is the cause
        _loadError = problem;
    unload();
    return false;
}

bool VXPluginProxy::loadDependencies()
{
    const QStringList identifiers = dependencies();
    return std::all_of(identifiers.cbegin(), identifiers.cend(),
                       [this](const QString &dependency) { return loadDependency(dependency); });
}

bool VXPluginProxy::loadDependency(const QString &dependency)
{
    if (dependency == _identifier)
        return true; // it would hold on to itself for ever
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    VXPluginProxy *const proxy = manager.pluginWithIdentifier(dependency);
    if (proxy == nullptr || !proxy->isInstalled()) {
        const QString problem =
            u"Missing dependency %1 for plugin: %2"_s.arg(VXDescription(dependency), VXDescription(_identifier));
        VXLogMethod(VXLogError, "loadDependencies", problem);
        _loadError = problem;
        return false;
    }
    VXPluginProxy *const root = proxy->rootProxy();
    const bool isThere =
        proxy->isEnabled() ? proxy->load() : userLetsEnable(*root, *this) && manager.enablePluginProxy(root);
    if (isThere)
        proxy->addDependantPlugin(this);
    return isThere;
}

void VXPluginProxy::removeFromDependencies()
{
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    for (const QString &dependency : dependencies()) {
        if (VXPluginProxy *const proxy = manager.pluginWithIdentifier(dependency))
            proxy->removeDependantPlugin(this);
    }
}

bool VXPluginProxy::loadSingleton()
{
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    manager.willLoadPlugin(*this);
    const auto mark = qScopeGuard([&] { manager.didLoadPlugin(*this); });
    _singleton = makeInstance();
    const Instance instance = _singleton; // held: a load hook may unload the plugin
    if (!instance)
        return false;
    loadInterfaceFile(*instance);
    manager.loadPluginInstance(instance.get());
    return true;
}

bool VXPluginProxy::loadChildren()
{
    QList<VXPluginProxy *> loadedNow;
    const QList<VXPluginProxy *> children = _child_proxies; // hooks of children may change the list
    for (VXPluginProxy *const child : children) {
        const bool wasLoaded = child->isLoaded();
        if (child->load()) {
            if (!wasLoaded)
                loadedNow.prepend(child);
            continue;
        }
        // Nobody would ever unload children of a plugin that is not loaded.
        for (VXPluginProxy *const loaded : std::as_const(loadedNow))
            loaded->unload();
        return failLoading(u"Failed to load child %1 of plugin: %2"_s.arg(VXDescription(child->identifier()),
                                                                          VXDescription(_identifier)));
    }
    return true;
}

void VXPluginProxy::loadInterfaceFile(VXPlugin &owner)
{
    const QString name = _plugin_bundle->infoDictionary().value(u"NSMainNibFile"_s).toString();
    if (name.isNull())
        return;
    QString path = _plugin_bundle->pathForResource(name, {});
    if (path.isNull())
        path = _plugin_bundle->pathForResource(name, u"ui"_s);
    bool isDone = false;
    if (!path.isNull() && interfaceFileLoader())
        VXCallPlugin(*this, "load", [&] { isDone = interfaceFileLoader()(path, owner); });
    if (!isDone)
        VXLogMethod(VXLogError, "load", u"Failed to load nib file %1 in %2"_s.arg(name, VXDescription(_identifier)));
}

const QMetaObject *VXPluginProxy::pluginClass()
{
    const auto fail = [this](const QString &problem, const QString &reason) -> const QMetaObject * {
        VXLogMethod(VXLogError, "pluginClass", problem);
        _loadError = reason;
        return nullptr;
    };
    const VXBundle::Ptr bundle = _plugin_bundle;
    if (!bundle) {
        const QString problem = "Plugin is not installed: "_L1 + VXDescription(_identifier);
        return fail(problem, problem);
    }
    if (!bundle->isLoaded())
        VXTraceMethod(VXDebugCategory::PLUG(), "pluginClass",
                      u"Loading: %1 %2 (%3)"_s.arg(VXDescription(_identifier),
                                                   infoText(*bundle, u"CFBundleShortVersionString"_s),
                                                   infoText(*bundle, u"CFBundleVersion"_s)));
    const QMetaObject *type = nullptr;
    VXError error;
    QString reason;
    VXCallPlugin(
        *this, "pluginClass", [&] { type = bundle->principalClass(&error); }, &reason);
    if (type == nullptr) {
        if (error) {
            VXLogMethod(VXLogError, "pluginClass", error.description());
            reason = error.localizedRecoverySuggestion();
        }
        return fail(u"Principal class %1 could not be loaded from bundle: %2"_s.arg(
                        infoText(*bundle, u"NSPrincipalClass"_s), bundle->bundlePath()),
                    reason);
    }
    if (type->inherits(&VXPlugin::staticMetaObject))
        return type;
    const QString problem = u"Missing/invalid principal class (%1 not a VXPlugin) in %2"_s.arg(
        QString::fromUtf8(type->className()), bundle->bundlePath());
    return fail(problem, problem);
}

VXPluginProxy::Instance VXPluginProxy::makeInstance()
{
    const QMetaObject *const type = pluginClass();
    if (type == nullptr)
        return nullptr;
    QObject *made = nullptr;
    VXCallPlugin(
        *this, "instantiate", [&] { made = type->newInstance(); }, &_loadError);
    // The class descends from VXPlugin, as pluginClass saw to.
    return made == nullptr ? nullptr : Instance(static_cast<VXPlugin *>(made), deleteInstance);
}

VXPluginProxy::Instance VXPluginProxy::instantiateWithSelector(const QByteArray &selector, const QVariant &object)
{
    constexpr const char *operation = "instantiateWithSelector:object:";
    if (createsSingletonInstance()) {
        VXLogMethod(VXLogError, operation,
                    u"Plugin %1 does not create multiple instances (object: %2)"_s.arg(
                        VXDescription(_identifier), VXDescription(object.toString())));
        return nullptr;
    }
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    manager.willLoadPlugin(*this);
    const auto mark = qScopeGuard([&] { manager.didLoadPlugin(*this); });
    const Instance instance = makeInstance();
    std::optional<QVariant> result;
    if (instance)
        VXCallPlugin(
            *this, selector.constData(),
            [&] { result = VXInvocation::withMethod(instance.get(), selector, {object}).invoke(); }, &_loadError);
    const bool isRefused = !result || (result->metaType() == QMetaType::fromType<bool>() && !result->toBool());
    if (isRefused) {
        VXLogMethod(VXLogError, operation, "Unable to instatiate plugin "_L1 + VXDescription(_identifier));
        return nullptr;
    }
    _instances.push_back(instance);
    return instance;
}

void VXPluginProxy::removeInstance(const VXPlugin *instance)
{
    std::erase_if(_instances, [instance](const Instance &held) { return held.get() == instance; });
}

int VXPluginProxy::pluginInstancesShouldUnload()
{
    const std::vector<Instance> asked = _instances; // an answer may remove one
    for (const Instance &instance : asked) {
        if (const int reply = instance->_pluginShouldUnload(); reply != VXUnloadNow)
            return reply;
    }
    const Instance instance = _singleton;
    return instance ? instance->_pluginShouldUnload() : VXUnloadNow;
}

void VXPluginProxy::unload()
{
    if (!_loaded)
        return;
    _loaded = false;
    if (!_dependantPlugins.isEmpty()) {
        QStringList names;
        for (const VXPluginProxy *const plugin : std::as_const(_dependantPlugins))
            names.append(VXDescription(plugin->identifier()));
        VXLogMethod(VXLogError, "unload",
                    u"Plugin %1 still has dependants: %2"_s.arg(VXDescription(_identifier), names.join(", "_L1)));
    }
    std::vector<Instance> gone = std::exchange(_instances, {});
    for (const Instance &instance : gone)
        instance->_pluginWillUnload();
    gone.push_back(std::exchange(_singleton, nullptr));
    if (gone.back())
        gone.back()->_pluginWillUnload();
    removeFromDependencies();
    VXAfterDeferredDeletions(*this, [this, load = _loads] {
        if (load == _loads) // not loaded again meanwhile
            reportLeftovers();
    });
}

void VXPluginProxy::reportLeftovers() const
{
    const QStringList found = _plugin_bundle ? VXPluginLeftovers(*_plugin_bundle) : QStringList();
    if (!found.isEmpty())
        VXLogMethod(VXLogWarning, "unload",
                    u"Plugin %1 was unloaded, but its code is still held by: %2"_s.arg(VXDescription(_identifier),
                                                                                       found.join(", "_L1)));
}
