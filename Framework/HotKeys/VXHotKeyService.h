#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

/** Two words that are given at each registration and reported with a press. */
struct VXHotKeyID
{
    quint32 signature = 0;
    quint32 id = 0;

    friend bool operator==(const VXHotKeyID &a, const VXHotKeyID &b) = default;
};

/** Identifies a registration with a service; 0 for none. */
using VXHotKeyRef = quint64;

/** A request for a registration. */
struct VXHotKeyRequest
{
    VXHotKeyID hotKeyID;
    quint32 keyCode = 0;     // of the keyboard (evdev, see VXKeyCombination)
    quint32 modifiers = 0;   // VXHotKeyModifier
    QString identifier = {}; // of the command; stable over sessions
    QString title = {};      // shown where the desktop lists shortcuts
};

/** Modifiers in the encoding of services. */
enum VXHotKeyModifier : quint32 {
    VXHotKeyCommand = 0x100, // the key with the logo, "Super"
    VXHotKeyShift = 0x200,
    VXHotKeyCapsLock = 0x400,
    VXHotKeyOption = 0x800, // "Alt"
    VXHotKeyControl = 0x1000,
};

/** Results of services. */
enum VXHotKeyStatus : quint32 {
    VXHotKeyDone = 0,
    VXHotKeyNotConnected = 1, // there is no service, or it went away
    VXHotKeyTaken = 2,        // another program has the combination
    VXHotKeyNoSuchKey = 3,    // the key or a modifier does not exist on the keyboard
    VXHotKeyUnknownRef = 4,   // tried to unregister something that is not registered
};

/**
 * Registers global key combinations with the desktop, and reports presses. Main thread only, where signals are emitted
 * as well. Destruction removes all registrations.
 */
class VX_EXPORT VXHotKeyService : public QObject
{
    Q_OBJECT

public:
    /** A service that accepts everything and never reports a press: for programs that do not listen. */
    static std::unique_ptr<VXHotKeyService> unattendedService();

    VXHotKeyService();
    ~VXHotKeyService() override;

    /** "X11", "portal", "none". */
    virtual QString name() const = 0;
    /** Why presses will not be reported; null when they will. */
    virtual QString problem() const = 0;

    /** Starts reporting presses. @return VXHotKeyDone, or why none will come. */
    virtual quint32 installListener() = 0;
    /** @return VXHotKeyDone, with the registration in `ref`, or why it was not registered. */
    virtual quint32 registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref) = 0;
    virtual quint32 unregisterHotKey(VXHotKeyRef ref) = 0;

Q_SIGNALS:
    void hotKeyPressed(VXHotKeyID hotKeyID);
    /** A desktop that asks the user first has refused a registration afterwards, which no longer exists. */
    void registrationRefused(VXHotKeyRef ref, const QString &reason);
    /** `problem` has changed: the desktop's service went away or came back. */
    void problemChanged();
};

Q_DECLARE_METATYPE(VXHotKeyID)
