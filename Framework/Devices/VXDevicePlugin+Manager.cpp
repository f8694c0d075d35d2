#include "VXDevicePlugin.h"

#include "VXDeviceURL.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"
#include "VXUserDefaults.h"

#include <QtCore/QScopeGuard>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

const VXNotificationName VXDevicePluginDidAddDeviceNotification(u"VXDevicePluginDidAddDeviceNotification"_s);
const VXNotificationName VXDevicePluginWillRemoveDeviceNotification(u"VXDevicePluginWillRemoveDeviceNotification"_s);
const VXNotificationName VXDevicePluginDidRemoveDeviceNotification(u"VXDevicePluginDidRemoveDeviceNotification"_s);

namespace {

// A recursive lock that its holder can let go of altogether, however often it took it, to wait for the main thread.
class VX_CAPABILITY("mutex") RegistryLock
{
public:
    void lock() VX_ACQUIRE() VX_NO_THREAD_SAFETY_ANALYSIS
    {
        _mutex.lock();
        ++_depth;
    }
    void unlock() VX_RELEASE() VX_NO_THREAD_SAFETY_ANALYSIS
    {
        --_depth;
        _mutex.unlock();
    }

    // Runs the work on the main thread, which may be waiting for this lock.
    void performOnMainThread(const std::function<void()> &work) VX_REQUIRES(this) VX_NO_THREAD_SAFETY_ANALYSIS
    {
        if (VXMainThread::isCurrent())
            return work();
        const int depth = std::exchange(_depth, 0);
        for (int level = 0; level < depth; ++level)
            _mutex.unlock();
        const auto again = qScopeGuard([this, depth]() VX_NO_THREAD_SAFETY_ANALYSIS {
            for (int level = 0; level < depth; ++level)
                _mutex.lock();
            _depth = depth;
        });
        static_cast<void>(VXMainThread::performAndWait(work)); // once that thread has ended nothing is made any more
    }

private:
    VXRecursiveMutex _mutex;
    static thread_local int _depth; // how often this thread holds it
};

thread_local int RegistryLock::_depth = 0;

struct Registry
{
    static Registry &shared()
    {
        static auto *const registry = new Registry; // never freed: devices live until they are removed
        return *registry;
    }

    RegistryLock lock;
    QHash<QUrl, VXDevicePlugin::Ptr> globalDevices VX_GUARDED_BY(lock);
};

using RegistryLocker = VXMutexLocker<RegistryLock>;

const QString &listKey()
{
    static const QString key = u"devices21"_s;
    return key;
}

QUrl urlOfEntry(const QVariant &entry)
{
    const QUrl url = entry.typeId() == QMetaType::QString ? QUrl(entry.toString()) : QUrl();
    return url.isValid() && !url.isRelative() ? url : QUrl();
}

// Nothing when there is no list. Entries that make no sense are kept: they may be of a later version.
std::optional<QVariantList> storedList()
{
    const QVariant stored = VXUserDefaults::standardUserDefaults().objectForKey(listKey());
    const bool isList = stored.metaType() == QMetaType::fromType<QVariantList>() ||
                        stored.metaType() == QMetaType::fromType<QStringList>();
    return isList ? std::optional(stored.toList()) : std::nullopt;
}

void store(const QVariantList &list)
{
    VXUserDefaults::standardUserDefaults().setObject(list, listKey());
}

bool isKnown(const QUrl &url)
{
    const auto urls = VXDevicePlugin::deviceURLs();
    return urls && urls->contains(url);
}

void announce(VXNotificationName name, const VXDevicePlugin::Ptr &device)
{
    VXNotificationCenter::defaultCenter().postNotificationName(name, QVariant::fromValue(device.get()));
}

// On the main thread. Null, logged, when the plugin is not there to make one.
VXDevicePlugin::Ptr instantiateDevice(const QUrl &url)
{
    const auto fail = [&url](QLatin1StringView problem) -> VXDevicePlugin::Ptr {
        VXLogClassMethod(VXLogError, VXDevicePlugin, "deviceAtURL:", problem + ": "_L1 + VXAbsoluteString(url));
        return nullptr;
    };
    VXPluginProxy *const plugin =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(VXDeviceURLComponent(url, 0));
    if (plugin == nullptr || !plugin->isEnabled())
        return fail("plugin is missing or disabled for device"_L1);
    if (!plugin->isLoaded())
        return fail("plugin is not loaded for device"_L1);
    const VXPluginProxy::Instance instance = plugin->instantiateWithSelector("initWithURL", url);
    if (!instance)
        return nullptr;
    auto device = std::dynamic_pointer_cast<VXDevicePlugin>(instance);
    if (device)
        return device;
    plugin->removeInstance(instance.get());
    return fail("plugin makes no devices, as is asked for device"_L1);
}

} // namespace

std::optional<QList<QUrl>> VXDevicePlugin::deviceURLs()
{
    const std::optional<QVariantList> stored = storedList();
    if (!stored)
        return std::nullopt;
    QList<QUrl> urls;
    for (const QVariant &entry : *stored) {
        if (const QUrl url = urlOfEntry(entry); !url.isEmpty())
            urls.append(url);
    }
    return urls;
}

VXDevicePlugin::Ptr VXDevicePlugin::deviceAtURL(const QUrl &url)
{
    Registry &registry = Registry::shared();
    const RegistryLocker lock(registry.lock);
    if (Ptr live = registry.globalDevices.value(url))
        return live;
    if (!isKnown(url))
        return nullptr;
    Ptr device;
    bool isNew = false;
    registry.lock.performOnMainThread([&] {
        const RegistryLocker mainLock(registry.lock);
        device = registry.globalDevices.value(url); // another thread may have been quicker
        if (device)
            return;
        device = instantiateDevice(url);
        isNew = device != nullptr;
        if (!isNew)
            return;
        registry.globalDevices.insert(url, device);
        VXPluginManager::sharedPluginManager().loadPluginInstance(device.get());
    });
    if (isNew && registry.globalDevices.value(url) == device)
        announce(VXDevicePluginDidAddDeviceNotification, device);
    return device;
}

QList<VXDevicePlugin::Ptr> VXDevicePlugin::liveDevices()
{
    Registry &registry = Registry::shared();
    const RegistryLocker lock(registry.lock);
    return registry.globalDevices.values();
}

bool VXDevicePlugin::isKeptAfterUnload() const
{
    Registry &registry = Registry::shared();
    const RegistryLocker lock(registry.lock);
    return registry.globalDevices.value(_url).get() == this;
}

void VXDevicePlugin::addDevice(const Ptr &device)
{
    VXAssert(device != nullptr, u"theDevice can not be nil!"_s);
    Registry &registry = Registry::shared();
    const RegistryLocker lock(registry.lock);
    const QUrl url = device->url();
    registry.globalDevices.insert(url, device);
    if (!isKnown(url))
        store(storedList().value_or(QVariantList()) << VXAbsoluteString(url));
    announce(VXDevicePluginDidAddDeviceNotification, device);
}

bool VXDevicePlugin::removeDeviceAtURL(const QUrl &url)
{
    Registry &registry = Registry::shared();
    const RegistryLocker lock(registry.lock);
    const Ptr device = registry.globalDevices.value(url);
    if (device)
        announce(VXDevicePluginWillRemoveDeviceNotification, device);
    if (std::optional<QVariantList> list = storedList()) {
        list->removeIf([&url](const QVariant &entry) { return urlOfEntry(entry) == url; });
        store(*list);
    }
    if (device) {
        registry.globalDevices.remove(url);
        registry.lock.performOnMainThread(
            [&device] { VXPluginManager::sharedPluginManager().unloadPluginInstance(device.get()); });
    }
    resetPreferencesForDeviceURL(url);
    VXNotificationCenter::defaultCenter().postNotificationName(VXDevicePluginDidRemoveDeviceNotification);
    return true;
}

void VXDevicePlugin::resetPreferencesForDeviceURL(const QUrl &url)
{
    // Without a dot at the end, deliberately: identifiers that begin with this one's go too, as they always have.
    const QString prefix =
        VXDescription(VXDeviceURLComponent(url, 0)) + u'.' + VXDescription(VXDeviceURLComponent(url, 1));
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    for (const QString &key : defaults.keysWithPrefix(prefix))
        defaults.removeObjectForKey(key);
}

// -- Default devices

VXDevicePlugin::Ptr VXDevicePlugin::defaultDevice()
{
    return defaultDeviceForKey({});
}

VXDevicePlugin::Ptr VXDevicePlugin::defaultDeviceForKey(const QString &key)
{
    const std::optional<QList<QUrl>> urls = deviceURLs();
    if (!urls || urls->isEmpty())
        return nullptr;
    if (!key.isNull()) {
        const QUrl preferred = urlOfEntry(VXUserDefaults::standardUserDefaults().objectForKey(key));
        if (Ptr device = preferred.isEmpty() ? nullptr : deviceAtURL(preferred))
            return device;
    }
    return deviceAtURL(urls->last());
}

void VXDevicePlugin::setDefaultDeviceURL(const QUrl &url, const QString &key)
{
    VXUserDefaults::standardUserDefaults().setObject(url.isEmpty() ? QVariant() : QVariant(VXAbsoluteString(url)), key);
}
