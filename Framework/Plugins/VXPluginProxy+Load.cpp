#include "VXPluginProxy.h"

#include "VXApplication.h"
#include "VXDiagnostics.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMethodLog.h"
#include "VXPluginCode.h"
#include "VXPluginGuard.h"
#include "VXPluginInstaller.h"
#include "VXPluginLeftovers.h"
#include "VXPluginManager.h"
#include "VXPluginMarker.h"
#include "VXPluginUnloadRun.h"
#include "VXScriptingDictionaries.h"

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

} // namespace

void VXPluginProxy::setInterfaceFileLoader(InterfaceFileLoader loader)
{
    interfaceFileLoader() = std::move(loader);
}

bool VXPluginProxy::load()
{
    if (_loaded)
        return true;
    _loaded = true; // set first, so that circular dependencies end
    const int load = ++_loads;
    _loadError = QString();
    if (const QString reason = VXPluginManager::sharedPluginManager().reasonToLeaveOut(_identifier); !reason.isNull())
        return failLoading(u"Plugin %1 is left out: %2"_s.arg(VXDescription(_identifier), reason));
    if (_plugin_bundle)
        _loadError =
            VXPluginInstaller::problemOfStore(VXPluginManager::sharedPluginManager(), _plugin_bundle->infoDictionary(),
                                              VXPluginInstaller::Others::Loaded);
    if (!_loadError.isNull())
        return failLoading(u"Plugin %1 cannot be loaded: %2"_s.arg(VXDescription(_identifier), _loadError));
    if (!loadDependencies())
        return failLoading("Failed to load dependency for plugin: "_L1 + VXDescription(_identifier));
    if (isStillLoading(load) && createsSingletonInstance() && !loadSingleton(load))
        return failLoading("Failed to instantiate plugin: "_L1 + VXDescription(_identifier));
    if (_plugin_bundle)
        VXScriptingDictionaries::bundleWasLoaded(*_plugin_bundle);
    return isStillLoading(load) && !loadChildren() ? false : endLoading(load);
}

// Hooks of the plugin, and what happens during an alert, may have unloaded the plugin meanwhile.
bool VXPluginProxy::endLoading(int load)
{
    if (isStillLoading(load))
        return true;
    _loadError = u"It was unloaded while it was loading."_s;
    VXLogMethod(VXLogWarning, "load", u"Plugin %1 was unloaded while it was loading"_s.arg(VXDescription(_identifier)));
    return false;
}

bool VXPluginProxy::failLoading(const QString &problem)
{
    VXLogMethod(VXLogError, "load", problem);
    if (_loadError.isNull()) // the first problem is the cause
        _loadError = problem;
    VXPluginUnloadRun run(VXUnloadPurpose::Failure);
    run.collect(*this);
    run.unload();
    for (VXPluginProxy *const proxy : run.plugins()) {
        if (proxy == this || proxy->rootProxy() == rootProxy())
            continue; // children are reported by their parent
        const QString line = "Failed to load dependency for plugin: "_L1 + VXDescription(proxy->identifier());
        VXLogFrom(VXInstanceOrigin(proxy, "load"), VXLogError, line);
        proxy->setLoadError(
            u"The plugin %1, which it needs, could not be loaded: %2"_s.arg(VXDescription(_identifier), _loadError));
    }
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
        return true; // the plugin would depend on itself forever
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
    if (!proxy->isEnabled() && !userLetsEnable(*root, *this)) {
        _loadError = u"The plugin %1, which it needs, is disabled, and was not to be enabled"_s.arg(dependency);
        return false;
    }
    if (proxy->isEnabled() ? proxy->load() : manager.enablePluginProxy(root)) {
        proxy->addDependantPlugin(this);
        return true;
    }
    const QString reason = manager.problemOfPlugin(root->isLoaded() ? dependency : root->identifier());
    _loadError = u"The plugin %1, which it needs, could not be loaded: %2"_s.arg(dependency, VXDescription(reason));
    return false;
}

void VXPluginProxy::removeFromDependencies()
{
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    for (const QString &dependency : dependencies()) {
        if (VXPluginProxy *const proxy = manager.pluginWithIdentifier(dependency))
            proxy->removeDependantPlugin(this);
    }
}

bool VXPluginProxy::loadSingleton(int load)
{
    const VXPluginMarker::Scope mark(*this, VXPluginWork::Loading);
    // held, as a load hook may unload the plugin
    const Instance instance = VXPluginCode(*this).makeInstance(&_loadError);
    if (!instance || !isStillLoading(load))
        return instance != nullptr;
    _singleton = instance;
    loadInterfaceFile(*instance);
    VXPluginManager::sharedPluginManager().loadPluginInstance(instance.get());
    return true;
}

// A plugin is loaded with all its children or not at all.
bool VXPluginProxy::loadChildren()
{
    const QList<VXPluginProxy *> children = _child_proxies; // a copy: hooks of children may change the list
    for (VXPluginProxy *const child : children) {
        if (child->load())
            continue;
        _loadError = u"Its part %1 could not be loaded: %2"_s.arg(VXDescription(child->identifier()),
                                                                  VXDescription(child->loadError()));
        return failLoading(u"Failed to load child %1 of plugin: %2"_s.arg(VXDescription(child->identifier()),
                                                                          VXDescription(_identifier)));
    }
    return true;
}

void VXPluginProxy::loadInterfaceFile(VXPlugin &owner)
{
    const QString name = infoText(u"NSMainNibFile"_s);
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
    return VXPluginCode(*this).principalClass(&_loadError);
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
    const VXPluginMarker::Scope mark(*this, VXPluginWork::Loading);
    const Instance instance = VXPluginCode(*this).makeInstance(&_loadError);
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
    const std::vector<Instance> asked = _instances; // a copy: an answer may remove an instance
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
    const Instance singleton = std::exchange(_singleton, nullptr);
    if (singleton)
        gone.push_back(singleton);
    for (const Instance &instance : gone) {
        const VXPluginMarker::Scope mark(*this, VXPluginWork::Unloading);
        instance->_pluginWillUnload();
    }
    if (_plugin_bundle)
        VXScriptingDictionaries::bundleWasUnloaded(*_plugin_bundle);
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
