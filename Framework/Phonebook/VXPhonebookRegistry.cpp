#include "VXPhonebookRegistry.h"

#include "VXMethodLog.h"
#include "VXNotificationCenter.h"
#include "VXPhonebookPlugin.h"
#include "VXPluginManager.h"

using namespace Qt::StringLiterals;

VXPhonebookRegistry &VXPhonebookRegistry::shared()
{
    static auto *const registry = new VXPhonebookRegistry;
    return *registry;
}

VXPhonebookRegistry::VXPhonebookRegistry()
{
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    center.addObserver(&_observer, VXPluginDidLoadNotification, [this](const VXNotification &notification) {
        if (dynamic_cast<const VXPhonebookPlugin *>(notification.object.value<VXPlugin *>()) != nullptr)
            takeSnapshot();
    });
    center.addObserver(&_observer, VXPluginWillUnloadNotification, [this](const VXNotification &notification) {
        pluginWillUnload(notification.object.value<VXPlugin *>());
    });
}

QList<VXPhonebookInUse> VXPhonebookRegistry::plugins()
{
    const VXMutexLocker locker(_lock);
    QList<VXPhonebookInUse> found;
    found.reserve(_plugins.size());
    for (const Known &known : std::as_const(_plugins))
        found.append({known.instance, known.plugin, _uses.begin(known.identifier)});
    return found;
}

void VXPhonebookRegistry::takeSnapshot()
{
    QList<Known> plugins;
    for (const VXPluginProxy *const proxy : VXPluginManager::sharedPluginManager().phonebookPlugins()) {
        const std::shared_ptr<VXPlugin> instance = proxy->singleton();
        if (auto *const plugin = dynamic_cast<VXPhonebookPlugin *>(instance.get())) // the code may be of any class
            plugins.append({instance, plugin, proxy->identifier()});
    }
    {
        const VXMutexLocker locker(_lock);
        _plugins.swap(plugins);
    } // releases the previous ones without the lock
}

void VXPhonebookRegistry::pluginWillUnload(const VXPlugin *plugin)
{
    if (dynamic_cast<const VXPhonebookPlugin *>(plugin) == nullptr)
        return;
    const QString identifier = plugin->identifier();
    QList<Known> before; // released without the lock
    {
        const VXMutexLocker locker(_lock);
        before = _plugins;
        _plugins.removeIf([plugin](const Known &each) { return each.plugin == plugin; });
    }
    before.clear();
    if (!_uses.waitUntilUnused(identifier))
        VXLogMethod(VXLogWarning,
                    "pluginWillUnload:", u"Plugin %1 is unloaded while another thread still runs it"_s.arg(identifier));
}
