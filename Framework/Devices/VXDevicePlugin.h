#pragma once

#include "VXDeviceActionHandler.h"
#include "VXFrameworkExport.h"
#include "VXLocalizedProperty.h"
#include "VXMutex.h"
#include "VXNotificationCenter.h"
#include "VXPlugin.h"

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

class VXDeviceFinding;

/**
 * Posted on the thread that changed the registry, under its lock. Object of the first two: the device, as
 * VXDevicePlugin *; of the third: none.
 */
VX_EXPORT extern const VXNotificationName VXDevicePluginDidAddDeviceNotification;
VX_EXPORT extern const VXNotificationName VXDevicePluginWillRemoveDeviceNotification;
VX_EXPORT extern const VXNotificationName VXDevicePluginDidRemoveDeviceNotification;

/**
 * The base class of device plugins: a phone, or another handset. A plugin derives from it, gives the class an invokable
 * constructor without arguments, registers handlers for the actions it supports (in an override of initWithURL, after
 * the base's), and publishes what it finds out as device properties. A device that can tell whether it is connected has
 * an invokable `bool isConnected() const`; one that is connected in the background has an invokable `bool
 * isConnecting() const`, and announces each change of "isConnecting".
 *
 * Devices live on the main thread. Any thread may use the registry, read preferences and properties and look up
 * handlers; preferences are set on the main thread only.
 */
class VX_EXPORT VXDevicePlugin : public VXPlugin
{
    Q_OBJECT
    Q_PROPERTY(QUrl url READ url CONSTANT)
    Q_PROPERTY(QString phoneNumber READ phoneNumber NOTIFY devicePropertiesDidChange)
    Q_PROPERTY(QString localizedDescription READ localizedDescription NOTIFY preferencesDidChange)
    Q_PROPERTY(QVariantMap deviceProperties READ deviceProperties NOTIFY devicePropertiesDidChange)
    Q_PROPERTY(QList<VXLocalizedProperty> localizedProperties READ localizedProperties NOTIFY devicePropertiesDidChange)

public:
    using Ptr = std::shared_ptr<VXDevicePlugin>;

    Q_INVOKABLE VXDevicePlugin();
    ~VXDevicePlugin() override;

    /** Takes ownership of a device that its plugin made itself, for addDevice; the event loop deletes it after the last
     *  owner is gone. */
    static Ptr hold(VXDevicePlugin *device);

    // -- A class operation, called on an instance that does not become a device
    /**
     * Finds the phones that could become devices of this class, including those that are devices already, and concludes
     * the finding, at once or after asking elsewhere, but must not block. The instance lives until then. The base finds
     * none. VXDeviceSearch asks all plugins.
     */
    Q_INVOKABLE virtual void findDevices(const std::shared_ptr<VXDeviceFinding> &finding);

    /** Called first, and once. A null URL fails an assertion. @return false when the device is of no use. */
    Q_INVOKABLE virtual bool initWithURL(const QUrl &theURL);

    // -- What it is
    QUrl url() const { return _url; }
    /** The phone number of the device's card; null when unknown, and in the base. */
    virtual QString phoneNumber() const;
    /** The name that people know the device by. */
    virtual QString localizedDescription() const;
    /** The plugin's description, the name and the URL, for logs. */
    QString description() const override;

    // -- Properties: run-time data such as battery and signal, under keys that the plugin defines
    QStringList devicePropertyKeys() const;
    QVariantMap deviceProperties() const;
    /** Invalid when the device has no such property. */
    QVariant devicePropertyForKey(const QString &key) const;
    /** A value of none (invalid, or null) removes the property. Announced as a change of "deviceProperties". */
    void setDeviceProperty(const QVariant &value, const QString &key);
    /** The properties that are a VXLocalizedProperty, by key. Changes with "deviceProperties". */
    Q_INVOKABLE QList<VXLocalizedProperty> localizedProperties() const;

    // -- Preferences of this device, kept in the user defaults
    /** The preference, or else the persistent preference of that key; invalid when there is neither. */
    QVariant preferenceForKey(const QString &key) const;
    /** Stores a property-list value; none removes it. This and the next fail an assertion off the main thread. */
    void setPreference(const QVariant &value, const QString &key);
    /** Persistent preferences survive resetPreferences and the removal of the device. */
    void setPersistentPreference(const QVariant &value, const QString &key);
    void resetPreferences();

    // -- Action handlers: the first one registered for an action is active, unless a later one overrides it
    /**
     * Registers the target's invokable method (it takes a VXDeviceAction *); it replaces one that the target already
     * has for the action. Handlers do not keep their target alive; those whose target is gone do not count. A null
     * action name or selector, or a target without such a method, fails an assertion.
     */
    void registerActionHandler(const QString &theActionName, QObject *target, const QByteArray &selector,
                               bool overrides = false);
    /** The same with a member function of the target, for example &Phone::sendMessage. */
    template <class T>
    void registerActionHandler(const QString &theActionName, T *target,
                               void (std::type_identity_t<T>::*handler)(VXDeviceAction *), bool overrides = false)
    {
        registerActionHandler(
            theActionName,
            VXDeviceActionHandler(target, [target, handler](VXDeviceAction *action) { (target->*handler)(action); }),
            overrides);
    }
    /** The same with any handler that has a target. */
    void registerActionHandler(const QString &theActionName, const VXDeviceActionHandler &handler, bool overrides);

    /** The active handler; null when there is none. */
    VXDeviceActionHandler actionHandlerForAction(const QString &theActionName) const;
    /** Names of the actions that have a handler, sorted. */
    QStringList actionNames() const;

    /** Removes the target's handler, if there is one. A null name or target fails an assertion. */
    void unregisterActionHandler(const QString &theActionName, QObject *target);
    void unregisterActionHandlersForTarget(QObject *target);
    void unregisterActionHandlers();

    // -- The registry of devices (VXDeviceRegistry), under the names that device plugins use
    static std::optional<QList<QUrl>> deviceURLs();
    static Ptr deviceAtURL(const QUrl &url);
    static QList<Ptr> liveDevices();
    static void addDevice(const Ptr &device);
    static bool removeDeviceAtURL(const QUrl &url);
    static void resetPreferencesForDeviceURL(const QUrl &url);
    static Ptr defaultDevice();
    static Ptr defaultDeviceForKey(const QString &key);
    static void setDefaultDeviceURL(const QUrl &url, const QString &key);

Q_SIGNALS:
    /** Before and after a change of "deviceProperties", and so of "localizedProperties", and of anything else that a
     *  concrete device announces. */
    void willChangeValueForKey(const QString &key);
    void didChangeValueForKey(const QString &key);
    /** After a change of "deviceProperties", on the thread that made it. */
    void devicePropertiesDidChange();
    /** After one of this device's preferences was set by this object; `key` as the plugin knows it. */
    void preferencesDidChange(const QString &key);

protected:
    bool _isShutdown = false; // set by concrete devices once they are shut down

private:
    using Handlers = std::vector<VXDeviceActionHandler>; // the active one first

    bool isKeptAfterUnload() const override; // the registry keeps it
    QString preferenceKey(const QString &key) const;
    static void removeHandler(Handlers &handlers, const QObject *target);

    QUrl _url;                 // set once, together with _preferencePrefix
    QString _preferencePrefix; // of the keys of the device's preferences
    mutable VXMutex _lock;
    QMap<QString, Handlers> _actionHandlers VX_GUARDED_BY(_lock); // a map, as there are few handlers with short names
    QVariantMap _deviceProperties VX_GUARDED_BY(_lock);
};

Q_DECLARE_METATYPE(VXDevicePlugin *)
