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

/** What the user bound a command to, as it is stored. */
struct VXHotKeySettings
{
    int keyCode = 0;
    int modifiers = 0; // VXModifierFlag
    QString displayString;

    friend bool operator==(const VXHotKeySettings &a, const VXHotKeySettings &b) = default;
};

/**
 * All hot keys: commands of the application and its plugins that the user may bind to key combinations that work whatever
 * program is in front. Combinations are kept in the user defaults under "hot-keys"; changes that another process makes there
 * are followed. Main thread only, but for `sharedHotKeyManager`.
 */
class VX_EXPORT VXHotKeyManager : public QObject
{
    Q_OBJECT

public:
    /** Made on first use and never freed. Any thread. */
    static VXHotKeyManager &sharedHotKeyManager();

    /** With a service that never tells of a press, until another is set. */
    VXHotKeyManager();
    ~VXHotKeyManager() override;

    /** Moves every registration to that service, and listens to it. */
    void setService(std::unique_ptr<VXHotKeyService> service);
    VXHotKeyService &service() const { return *_service; }

    /**
     * Adds a command, in place of one of the same identifier, and registers the combination that the user bound it to, if
     * there is one. A press calls the target's invokable method `selector` with the identifier; it has none when the
     * target does not respond to that. A method that begins a device action returns it (VXDeviceAction::Ptr), for those who
     * wait for it.
     */
    void registerHotKeyWithIdentifier(const QString &identifier, const QString &title, QObject *target,
                                      const QByteArray &selector);
    /** Does nothing when there is no such command. The user's binding stays stored. */
    void unregisterHotKeyWithIdentifier(const QString &identifier);
    /** By identifier. */
    QMap<QString, std::shared_ptr<VXHotKey>> hotKeys() const { return _hotKeys; }

    /** The stored binding. False when there is none. Each output may be nullptr. */
    bool getHotKeySettingsForIdentifier(const QString &identifier, int *keyCode, int *modifiers,
                                        QString *displayString) const;
    /** Stores a binding; a null display string removes it. */
    void setHotKeySettingsForIdentifier(const QString &identifier, int keyCode, int modifiers,
                                        const QString &displayString);
    /**
     * Binds a command anew and stores that; a key code of 0 unbinds it. False, and nothing is stored, when there is no such
     * command or the service refuses: the command is unbound then.
     */
    bool updateHotKeyWithIdentifier(const QString &identifier, int keyCode, int modifiers,
                                    const QString &displayString);

    /** Runs the command whose latest registration had that number, logged when there is none. */
    void carbonHotKeyWasPressed(VXHotKeyID hotKeyID);
    /** Runs a command as a press does, bound or not, with what its method returned in `result`. False when there is none. */
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
    QHash<quint32, HotKeyPtr> _hotKeysByID;     // by the id word, from their first registration on
    QHash<QString, VXHotKeySettings> _followed; // the stored bindings that were seen last, by identifier
};
