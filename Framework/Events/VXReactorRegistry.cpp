#include "VXReactorRegistry.h"

#include "VXEventManager.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"
#include "VXReactorPlugin.h"

using namespace Qt::StringLiterals;

namespace {

VXReactorPlugin *reactorIn(const std::shared_ptr<VXPlugin> &instance)
{
    return dynamic_cast<VXReactorPlugin *>(instance.get());
}

} // namespace

VXReactorRegistry &VXReactorRegistry::shared()
{
    static auto *const registry = new VXReactorRegistry;
    return *registry;
}

VXReactorRegistry::VXReactorRegistry()
{
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    center.addObserver(&_observer, VXPluginDidLoadNotification, [this](const VXNotification &notification) {
        pluginDidLoad(notification.object.value<VXPlugin *>());
    });
    center.addObserver(&_observer, VXPluginWillUnloadNotification, [this](const VXNotification &notification) {
        pluginWillUnload(notification.object.value<VXPlugin *>());
    });
}

VXReactorInUse VXReactorRegistry::find(const QString &identifier)
{
    if (VXMainThread::isCurrent())
        return findNow(identifier);
    const VXMutexLocker locker(_lock);
    const auto found = _reactors.constFind(identifier);
    if (found == _reactors.constEnd())
        return {};
    return {.isEnabled = true, .instance = *found, .plugin = reactorIn(*found), .use = _uses.begin(identifier)};
}

VXReactorInUse VXReactorRegistry::findNow(const QString &identifier) const
{
    const VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
    if (proxy == nullptr || !proxy->isEnabled())
        return {};
    return {.isEnabled = true, .instance = proxy->singleton(), .plugin = reactorIn(proxy->singleton())};
}

QList<VXBundle::Ptr> VXReactorRegistry::eventPostingBundles() const
{
    if (VXMainThread::isCurrent())
        return VXEventManager::sharedEventManager()._eventPostingBundles();
    const VXMutexLocker locker(_lock);
    return _postingBundles;
}

void VXReactorRegistry::pluginDidLoad(const VXPlugin *plugin)
{
    const VXBundle::Ptr bundle = plugin != nullptr ? plugin->bundle() : nullptr;
    const bool posts = bundle && !VXPostedEvents(*bundle).isEmpty();
    if (posts || dynamic_cast<const VXReactorPlugin *>(plugin) != nullptr)
        takeSnapshot();
}

// Looks at all loaded plugins, as others may be about to be unloaded, too.
void VXReactorRegistry::takeSnapshot()
{
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    QHash<QString, std::shared_ptr<VXPlugin>> reactors;
    for (const VXPluginProxy *const proxy : manager.reactorPlugins() + manager.exporterPlugins()) {
        if (reactorIn(proxy->singleton()) != nullptr) // plugins of other kinds may be of any class
            reactors.insert(proxy->identifier(), proxy->singleton());
    }
    const QList<VXBundle::Ptr> bundles = VXEventManager::sharedEventManager()._eventPostingBundles();
    const VXMutexLocker locker(_lock);
    _reactors = reactors;
    _postingBundles = bundles;
}

void VXReactorRegistry::pluginWillUnload(const VXPlugin *plugin)
{
    if (dynamic_cast<const VXReactorPlugin *>(plugin) == nullptr)
        return;
    const QString identifier = plugin->identifier();
    std::shared_ptr<VXPlugin> gone; // released after the lock
    {
        const VXMutexLocker locker(_lock);
        gone = _reactors.take(identifier);
    }
    if (!_uses.waitUntilUnused(identifier))
        VXLogMethod(VXLogWarning,
                    "pluginWillUnload:", u"Plugin %1 is unloaded while another thread still runs it"_s.arg(identifier));
}
