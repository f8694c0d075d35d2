#pragma once

#include "VXFrameworkExport.h"
#include "VXHotKey.h"
#include "VXHotKeyService.h"
#include "VXNotificationCenter.h"

#include <QtCore/QHash>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

/** Posted on the main thread after a press has run its command; object: the hot key's identifier. */
VX_EXPORT extern const VXNotificationName VXHotKeyWasPressedNotification;

/** The combination that the user bound a command to, as stored. */
struct VXHotKeySettings
{
    int keyCode = 0;
    int modifiers = 0; // VXModifierFlag
    QString displayString;

    friend bool operator==(const VXHotKeySettings &a, const VXHotKeySettings &b) = default;
};

/**
 * All hot keys: commands of the application and its plugins that the user may bind to global key combinations, which
 * work whatever program has the focus. Combinations are stored in the user defaults under "hot-keys"; changes by other
 * processes take effect as well. Main thread only, except `sharedHotKeyManager`.
 */
class VX_EXPORT VXHotKeyManager : public QObject
{
    Q_OBJECT

public:
    /** Made on first use and never freed. Any thread. */
    static VXHotKeyManager &sharedHotKeyManager();

    /** Has a service that never reports a press, until another one is set. */
    VXHotKeyManager();
    ~VXHotKeyManager() override;

    /** Moves all registrations to that service, and listens to it. */
    void setService(std::unique_ptr<VXHotKeyService> service);
    VXHotKeyService &service() const { return *_service; }

    /**
     * Adds a command, which replaces one with the same identifier, and registers the combination that the user bound it
     * to, if any. A press calls the target's invokable method `selector` with the identifier; if the target has no such
     * method, a press does nothing. A method that begins a device action returns it (VXDeviceAction::Ptr), for callers
     * that wait for it.
     */
    void registerHotKeyWithIdentifier(const QString &identifier, const QString &title, QObject *target,
                                      const QByteArray &selector);
    /** Removes a command; does nothing if there is none. The user's binding remains stored. */
    void unregisterHotKeyWithIdentifier(const QString &identifier);
    /** By identifier. */
    QMap<QString, std::shared_ptr<VXHotKey>> hotKeys() const { return _hotKeys; }

    /** Reads the stored binding. False when there is none. Each output may be nullptr. */
    bool getHotKeySettingsForIdentifier(const QString &identifier, int *keyCode, int *modifiers,
                                        QString *displayString) const;
    /** Stores a binding; a null display string removes it. */
    void setHotKeySettingsForIdentifier(const QString &identifier, int keyCode, int modifiers,
                                        const QString &displayString);
    /**
     * Binds a command to another combination and stores that; a key code of 0 unbinds it. False, with nothing stored,
     * when there is no such command or the service refuses; then the command is unbound.
     */
    bool updateHotKeyWithIdentifier(const QString &identifier, int keyCode, int modifiers,
                                    const QString &displayString);

    /** Runs the command whose latest registration has that number; logs it when there is none. */
    void carbonHotKeyWasPressed(VXHotKeyID hotKeyID);
    /** Runs a command as a press does, whether it is bound or not; `result` receives what its method returned. False
     *  when there is no such command. */
    bool pressHotKeyWithIdentifier(const QString &identifier, QVariant *result = nullptr);

private:
    using HotKeyPtr = std::shared_ptr<VXHotKey>;

    void addCarbonHotKeyListener();
    void registerBinding(const HotKeyPtr &hotKey);
    bool registerKey(const HotKeyPtr &hotKey, int keyCode, int modifiers, const QString &displayString);
    void unregister(VXHotKey &hotKey);
    void followSettings();
    void run(const VXHotKey &hotKey, QVariant *result = nullptr);
    void reportThrown(const VXHotKey &hotKey, const QString &problem);
    void registrationWasRefused(VXHotKeyRef ref, const QString &reason);
    void serviceChanged();

    std::unique_ptr<VXHotKeyService> _service;
    QMap<QString, HotKeyPtr> _hotKeys;
    QHash<quint32, HotKeyPtr> _hotKeysByID;     // by the id word, from the first registration on
    QHash<QString, VXHotKeySettings> _followed; // the stored bindings as last seen, by identifier
};
