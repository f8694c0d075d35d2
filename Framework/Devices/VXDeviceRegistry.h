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
 * The devices of this user: which are known, which are live, which is preferred. Guarded by a recursive lock.
 * Notifications are posted and devices are made under the lock, so observers must not wait for another thread that uses
 * the registry. Devices are made and unloaded on the main thread; other threads wait for that with the lock released.
 * Any thread may call, unless stated otherwise.
 */
class VX_EXPORT VXDeviceRegistry
{
public:
    using Ptr = VXDevicePlugin::Ptr;

    static VXDeviceRegistry &shared();
    VXDeviceRegistry(const VXDeviceRegistry &) = delete;
    VXDeviceRegistry &operator=(const VXDeviceRegistry &) = delete;

    // -- What there is
    /** The known devices in the order in which they were added; none when no list was ever stored. Entries that are no
     *  URLs are left out. */
    std::optional<QList<QUrl>> urls() const;
    bool isKnown(const QUrl &url) const;
    /** The live device; a known device is made if its plugin is loaded. Null, logged, otherwise. */
    Ptr device(const QUrl &url);
    /** The live devices, in no defined order. Makes none. */
    QList<Ptr> liveDevices() const;
    bool isLive(const VXDevicePlugin &device) const;

    /** Makes the known devices of all loaded plugins now, and those of other plugins when these are loaded. For
     *  programs that keep running. Main thread only. */
    void makeKnownDevices();

    // -- Adding and removing
    /**
     * Has the plugin named by the URL make a device with these preferences, adds it to the list and makes it live.
     * Null, with an error for the user and with the preferences unchanged, when that device already exists, or its
     * plugin is not available or makes none. Main thread only.
     */
    Ptr add(const QUrl &url, const QVariantMap &preferences, VXError *error = nullptr);
    /** Adds a device that its plugin made itself. The caller also passes it to the plugin manager's loadPluginInstance.
     *  */
    void add(const Ptr &device);
    /** Removes the device from the list, and its preferences except for persistent ones, and unloads it if it is live.
     *  */
    void remove(const QUrl &url);

    /** The keys of the user defaults that are removed with the device: those that begin with "PLUGIN.DEVICE". That
     *  includes those of devices whose identifier merely begins with this one's. */
    static QStringList preferenceKeys(const QUrl &url);
    static void resetPreferences(const QUrl &url);
    /** Other known devices whose preferences would be removed, too. */
    QList<QUrl> devicesSharingPreferences(const QUrl &url) const;

    // -- Which is preferred
    /** The device whose URL is stored under the user default `key`, if it can be made; otherwise, and for a null key,
     *  the device added last. Null when there is none, or it cannot be made. */
    Ptr defaultDevice(const QString &key = {});
    /** A null URL removes the key. */
    static void setDefaultURL(const QUrl &url, const QString &key);

private:
    /** A recursive lock that its holder can release completely, however many times it was taken, to wait for the main
     *  thread. */
    class VX_CAPABILITY("mutex") Lock
    {
    public:
        void lock() VX_ACQUIRE();
        void unlock() VX_RELEASE();
        /** Runs the work on the main thread, which may itself be waiting for this lock. */
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
    std::unique_ptr<QObject> _follower; // observes the loading of plugins; for the main thread only
};
