#pragma once

#include "VXDevicePlugin.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXMutex.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <optional>

/**
 * The devices of this user: which are known, which are live, which is preferred. One recursive lock serialises it;
 * notifications are posted and devices are made under it, so observers must not wait for another thread that uses the
 * registry. Devices are made and unloaded on the main thread, which another calling thread waits for with the lock let
 * go. Any thread may call, where nothing else is said.
 */
class VX_EXPORT VXDeviceRegistry
{
public:
    using Ptr = VXDevicePlugin::Ptr;

    static VXDeviceRegistry &shared();
    VXDeviceRegistry(const VXDeviceRegistry &) = delete;
    VXDeviceRegistry &operator=(const VXDeviceRegistry &) = delete;

    // -- What there is
    /** The known devices, in the order they were added; empty optional when no list was ever kept. Entries of the list
     *  that are no URLs are left out. */
    std::optional<QList<QUrl>> urls() const;
    bool isKnown(const QUrl &url) const;
    /** The live device; one that is known is made now, when its plugin is loaded. Null, logged, otherwise. */
    Ptr device(const QUrl &url);
    /** The live devices, in no defined order; none is made. */
    QList<Ptr> liveDevices() const;
    bool isLive(const VXDevicePlugin &device) const;

    /** Makes the known devices of all plugins that are loaded, and from then on those of each plugin that is loaded
     *  later. For programs that stay. Main thread only. */
    void makeKnownDevices();

    // -- Adding and removing
    /**
     * Has the plugin that the URL names make a device with these preferences, adds it to the list and makes it live.
     * Null, with an error for the user and with the preferences as they were, when there is such a device already, or
     * its plugin is not there or makes none. Main thread only.
     */
    Ptr add(const QUrl &url, const QVariantMap &preferences, VXError *error = nullptr);
    /** Adds a device that its plugin made itself. Whoever made it hands it to the plugin manager's loadPluginInstance. */
    void add(const Ptr &device);
    /** Forgets the device and its preferences, persistent ones excepted, and unloads it if it is live. */
    void remove(const QUrl &url);

    /** The keys of the user defaults that go when the device is removed: those that begin with "PLUGIN.DEVICE". They
     *  take along those of devices whose identifier only begins like this one's. */
    static QStringList preferenceKeys(const QUrl &url);
    static void resetPreferences(const QUrl &url);
    /** Other known devices whose preferences would go too. */
    QList<QUrl> devicesSharingPreferences(const QUrl &url) const;

    // -- Which is preferred
    /** The device whose URL the user default `key` holds, if it can be made; else, and for a null key, the one last
     *  added. Null when there is none, or it cannot be made. */
    Ptr defaultDevice(const QString &key = {});
    /** A null URL removes the key. */
    static void setDefaultURL(const QUrl &url, const QString &key);

private:
    /** A recursive lock that its holder can let go of altogether, however often it took it, to wait for the main
     *  thread. */
    class VX_CAPABILITY("mutex") Lock
    {
    public:
        void lock() VX_ACQUIRE();
        void unlock() VX_RELEASE();
        /** Runs the work on the main thread, which may be waiting for this lock. */
        void performOnMainThread(const std::function<void()> &work) VX_REQUIRES(this);

    private:
        VXRecursiveMutex _mutex;
    };
    using Locker = VXMutexLocker<Lock>;

    VXDeviceRegistry() = default;
    ~VXDeviceRegistry() = default;

    void insert(const QUrl &url, const Ptr &device) VX_REQUIRES(_lock);
    void makeDevicesOfLoadedPlugins();

    mutable Lock _lock;
    QHash<QUrl, Ptr> _globalDevices VX_GUARDED_BY(_lock);
    std::unique_ptr<QObject> _follower; // of plugins that are loaded; the main thread's
};
