#include "VXDeviceRegistry.h"

#include "VXContainer.h"
#include "VXDeviceURL.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"
#include "VXUserDefaults.h"

#include <QtCore/QScopeGuard>
#include <QtCore/QSet>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

thread_local int lockDepth = 0; // how many times this thread holds the registry's lock

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

// None when there is no list. Entries that make no sense are kept: they may be from a later version.
std::optional<QVariantList> storedList()
{
    const QVariant stored = VXUserDefaults::standardUserDefaults().objectForKey(listKey());
    return VXIsList(stored) ? std::optional(stored.toList()) : std::nullopt;
}

struct KnownDevices
{
    QVariantList entries;
    QList<QUrl> urls; // of the entries that are one
    QSet<QUrl> set;
};

// Null when there is no list. It is parsed once for as long as it stays, not for each device that is asked for.
std::shared_ptr<const KnownDevices> knownDevices()
{
    static VXMutex mutex;
    static std::shared_ptr<const KnownDevices> latest; // guarded by the mutex
    const std::optional<QVariantList> entries = storedList();
    if (!entries)
        return nullptr;
    const VXMutexLocker lock(mutex);
    if (latest && latest->entries.isSharedWith(*entries))
        return latest;
    auto known = std::make_shared<KnownDevices>();
    known->entries = *entries; // held, so that no other list can have its address
    for (const QVariant &entry : *entries) {
        if (const QUrl url = urlOfEntry(entry); !url.isEmpty())
            known->urls.append(url);
    }
    known->set = QSet<QUrl>(known->urls.cbegin(), known->urls.cend());
    return latest = known;
}

// Other processes add and remove devices as well: each changes only its own entry of the current list.
void addToStoredList(const QUrl &url)
{
    VXUserDefaults::standardUserDefaults().updateObject(listKey(), [url](const QVariant &stored) {
        QVariantList list = VXListFrom(stored);
        if (std::ranges::none_of(list, [&url](const QVariant &entry) { return urlOfEntry(entry) == url; }))
            list.append(VXAbsoluteString(url));
        return QVariant(list);
    });
}

void removeFromStoredList(const QUrl &url)
{
    VXUserDefaults::standardUserDefaults().updateObject(listKey(), [url](const QVariant &stored) {
        QVariantList list = VXListFrom(stored);
        list.removeIf([&url](const QVariant &entry) { return urlOfEntry(entry) == url; });
        return VXIsList(stored) ? QVariant(list) : stored;
    });
}

void announce(VXNotificationName name, const VXDevicePlugin::Ptr &device)
{
    VXNotificationCenter::defaultCenter().postNotificationName(name, QVariant::fromValue(device.get()));
}

VXPluginProxy *pluginOfDevice(const QUrl &url)
{
    return VXPluginManager::sharedPluginManager().pluginWithIdentifier(VXDeviceURLComponent(url, 0));
}

// On the main thread. Null, logged, when the plugin is not available, or makes no device.
VXDevicePlugin::Ptr instantiateDevice(const QUrl &url)
{
    const auto fail = [&url](QLatin1StringView problem) -> VXDevicePlugin::Ptr {
        VXLogClassMethod(VXLogError, VXDevicePlugin, "deviceAtURL:", problem + ": "_L1 + VXAbsoluteString(url));
        return nullptr;
    };
    VXPluginProxy *const plugin = pluginOfDevice(url);
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

// Sets preferences for a device that is about to be made, and restores the former ones unless kept.
class TentativePreferences
{
public:
    TentativePreferences(const QUrl &url, const QVariantMap &preferences)
    {
        VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
        for (auto preference = preferences.begin(); preference != preferences.end(); ++preference) {
            const QString key = VXMakeDevicePreferenceKey(url, preference.key());
            _before.insert(key, defaults.objectForKey(key));
            defaults.setObject(*preference, key);
        }
    }
    ~TentativePreferences()
    {
        for (auto value = _before.cbegin(); value != _before.cend(); ++value)
            VXUserDefaults::standardUserDefaults().setObject(*value, value.key());
    }
    TentativePreferences(const TentativePreferences &) = delete;
    TentativePreferences &operator=(const TentativePreferences &) = delete;

    void keep() { _before.clear(); }

private:
    QVariantMap _before;
};

} // namespace

// -- The lock

void VXDeviceRegistry::Lock::lock() VX_NO_THREAD_SAFETY_ANALYSIS
{
    _mutex.lock();
    ++lockDepth;
}

void VXDeviceRegistry::Lock::unlock() VX_NO_THREAD_SAFETY_ANALYSIS
{
    --lockDepth;
    _mutex.unlock();
}

void VXDeviceRegistry::Lock::performOnMainThread(const std::function<void()> &work) VX_NO_THREAD_SAFETY_ANALYSIS
{
    if (VXMainThread::isCurrent())
        return work();
    const int depth = std::exchange(lockDepth, 0);
    for (int level = 0; level < depth; ++level)
        _mutex.unlock();
    const auto again = qScopeGuard([this, depth]() VX_NO_THREAD_SAFETY_ANALYSIS {
        for (int level = 0; level < depth; ++level)
            _mutex.lock();
        lockDepth = depth;
    });
    static_cast<void>(VXMainThread::performAndWait(work)); // after the main thread has ended nothing is made any more
}

// -- What there is

VXDeviceRegistry &VXDeviceRegistry::shared()
{
    static auto *const registry = new VXDeviceRegistry; // never freed: devices live until they are removed
    return *registry;
}

std::optional<QList<QUrl>> VXDeviceRegistry::urls() const
{
    const auto known = knownDevices();
    return known ? std::optional(known->urls) : std::nullopt;
}

bool VXDeviceRegistry::isKnown(const QUrl &url) const
{
    const auto known = knownDevices();
    return known && known->set.contains(url);
}

void VXDeviceRegistry::insert(const QUrl &url, const Ptr &device)
{
    _globalDevices.insert(url, device);
    VXPluginManager::sharedPluginManager().loadPluginInstance(device.get());
}

VXDeviceRegistry::Ptr VXDeviceRegistry::device(const QUrl &url)
{
    const Locker lock(_lock);
    if (Ptr live = _globalDevices.value(url))
        return live;
    if (!isKnown(url))
        return nullptr;
    Ptr device;
    bool isNew = false;
    _lock.performOnMainThread([&] {
        const Locker mainLock(_lock);
        device = _globalDevices.value(url); // another thread may have made it meanwhile
        if (device)
            return;
        device = instantiateDevice(url);
        isNew = device != nullptr;
        if (isNew)
            insert(url, device);
    });
    if (isNew && _globalDevices.value(url) == device)
        announce(VXDevicePluginDidAddDeviceNotification, device);
    return device;
}

QList<VXDeviceRegistry::Ptr> VXDeviceRegistry::liveDevices() const
{
    const Locker lock(_lock);
    return _globalDevices.values();
}

bool VXDeviceRegistry::isLive(const VXDevicePlugin &device) const
{
    const Locker lock(_lock);
    return _globalDevices.value(device.url()).get() == &device;
}

void VXDeviceRegistry::makeKnownDevices()
{
    makeDevicesOfLoadedPlugins();
    if (_follower)
        return;
    _follower = std::make_unique<QObject>();
    for (const VXNotificationName name : {VXPluginDidEnableNotification, VXPluginsDidChangeNotification})
        VXNotificationCenter::defaultCenter().addObserver(
            _follower.get(), name, [this](const VXNotification &) { makeDevicesOfLoadedPlugins(); });
}

// The other devices wait, without being logged, until their plugin is loaded.
void VXDeviceRegistry::makeDevicesOfLoadedPlugins()
{
    for (const QUrl &url : urls().value_or(QList<QUrl>())) {
        const VXPluginProxy *const plugin = pluginOfDevice(url);
        if (plugin != nullptr && plugin->isLoaded())
            static_cast<void>(device(url));
    }
}

// -- Adding and removing

VXDeviceRegistry::Ptr VXDeviceRegistry::add(const QUrl &url, const QVariantMap &preferences, VXError *error)
{
    const Locker lock(_lock);
    if (isKnown(url)) {
        VXSetError(error,
                   VXMakeError(VXLocalizedString(u"There is a device %1 already."_s).arg(VXAbsoluteString(url))));
        return nullptr;
    }
    TentativePreferences tentative(url, preferences);
    const Ptr device = instantiateDevice(url);
    if (!device) {
        VXSetError(error, VXError(VXErrorDomain, VXErrorGeneral,
                                  {{VXLocalizedDescriptionKey,
                                    VXLocalizedString(u"No device %1 could be made."_s).arg(VXAbsoluteString(url))},
                                   {VXLocalizedRecoverySuggestionKey, VXLocalizedString(u"The log may tell why."_s)}}));
        return nullptr;
    }
    tentative.keep();
    addToStoredList(url);
    insert(url, device);
    announce(VXDevicePluginDidAddDeviceNotification, device);
    return device;
}

void VXDeviceRegistry::add(const Ptr &device)
{
    VXAssert(device != nullptr, u"theDevice can not be nil!"_s);
    const Locker lock(_lock);
    _globalDevices.insert(device->url(), device);
    addToStoredList(device->url());
    announce(VXDevicePluginDidAddDeviceNotification, device);
}

void VXDeviceRegistry::remove(const QUrl &url)
{
    const Locker lock(_lock);
    const Ptr device = _globalDevices.value(url);
    if (device)
        announce(VXDevicePluginWillRemoveDeviceNotification, device);
    removeFromStoredList(url);
    if (device) {
        _globalDevices.remove(url);
        _lock.performOnMainThread(
            [&device] { VXPluginManager::sharedPluginManager().unloadPluginInstance(device.get()); });
    }
    resetPreferences(url);
    VXNotificationCenter::defaultCenter().postNotificationName(VXDevicePluginDidRemoveDeviceNotification);
}

QStringList VXDeviceRegistry::preferenceKeys(const QUrl &url)
{
    // Intentionally without a dot at the end: preferences of devices whose identifier begins with this one are removed
    // as well, as always.
    const QString prefix =
        VXDescription(VXDeviceURLComponent(url, 0)) + u'.' + VXDescription(VXDeviceURLComponent(url, 1));
    return VXUserDefaults::standardUserDefaults().keysWithPrefix(prefix);
}

void VXDeviceRegistry::resetPreferences(const QUrl &url)
{
    for (const QString &key : preferenceKeys(url))
        VXUserDefaults::standardUserDefaults().removeObjectForKey(key);
}

QList<QUrl> VXDeviceRegistry::devicesSharingPreferences(const QUrl &url) const
{
    const QStringList going = preferenceKeys(url);
    QList<QUrl> others = urls().value_or(QList<QUrl>());
    others.removeIf([&](const QUrl &other) {
        const QString own = VXMakeDevicePreferenceKey(other, u""_s);
        return other == url || std::ranges::none_of(going, [&](const QString &key) { return key.startsWith(own); });
    });
    return others;
}

// -- Which is preferred

VXDeviceRegistry::Ptr VXDeviceRegistry::defaultDevice(const QString &key)
{
    const std::optional<QList<QUrl>> known = urls();
    if (!known || known->isEmpty())
        return nullptr;
    if (!key.isNull()) {
        const QUrl preferred = urlOfEntry(VXUserDefaults::standardUserDefaults().objectForKey(key));
        if (Ptr found = preferred.isEmpty() ? nullptr : device(preferred))
            return found;
    }
    return device(known->last());
}

void VXDeviceRegistry::setDefaultURL(const QUrl &url, const QString &key)
{
    VXUserDefaults::standardUserDefaults().setObject(url.isEmpty() ? QVariant() : QVariant(VXAbsoluteString(url)), key);
}
