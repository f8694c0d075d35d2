#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

/** What a service tells with a press: two words, given at each registration. */
struct VXHotKeyID
{
    quint32 signature = 0;
    quint32 id = 0;

    friend bool operator==(const VXHotKeyID &a, const VXHotKeyID &b) = default;
};

/** Names one registration of a service; 0 names none. */
using VXHotKeyRef = quint64;

/** What a registration asks for. */
struct VXHotKeyRequest
{
    VXHotKeyID hotKeyID;
    quint32 keyCode = 0;     // of the keyboard (evdev, see VXKeyCombination)
    quint32 modifiers = 0;   // VXHotKeyModifier
    QString identifier = {}; // the command's, stable over sessions
    QString title = {};      // for people, where the desktop lists shortcuts
};

/** Modifiers as services take them. */
enum VXHotKeyModifier : quint32 {
    VXHotKeyCommand = 0x100, // the key with the desktop's sign, "Super"
    VXHotKeyShift = 0x200,
    VXHotKeyCapsLock = 0x400,
    VXHotKeyOption = 0x800, // "Alt"
    VXHotKeyControl = 0x1000,
};

/** What services answer. */
enum VXHotKeyStatus : quint32 {
    VXHotKeyDone = 0,
    VXHotKeyNotConnected = 1, // there is no service, or it went away
    VXHotKeyTaken = 2,        // another program has the combination
    VXHotKeyNoSuchKey = 3,    // the keyboard lacks the key or a modifier
    VXHotKeyUnknownRef = 4,   // unregistering what is not registered
};

/**
 * Registers key combinations with the desktop, whatever program is in front, and tells of presses. Main thread only; the
 * signals are emitted there too. Destruction gives up every registration.
 */
class VX_EXPORT VXHotKeyService : public QObject
{
    Q_OBJECT

public:
    /** Accepts everything and never tells of a press: for programs that do not listen. */
    static std::unique_ptr<VXHotKeyService> unattendedService();

    VXHotKeyService();
    ~VXHotKeyService() override;

    /** "X11", "portal", "none". */
    virtual QString name() const = 0;
    /** Why presses will not arrive; null when they will. */
    virtual QString problem() const = 0;

    /** Begins to tell of presses. @return VXHotKeyDone, or why none will come. */
    virtual quint32 installListener() = 0;
    /** @return VXHotKeyDone, with the registration in `ref`, or why it was not registered. */
    virtual quint32 registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref) = 0;
    virtual quint32 unregisterHotKey(VXHotKeyRef ref) = 0;

Q_SIGNALS:
    void hotKeyPressed(VXHotKeyID hotKeyID);
    /** A desktop that asks the user first refused a registration afterwards; it is not registered any more. */
    void registrationRefused(VXHotKeyRef ref, const QString &reason);
    /** `problem` changed: the desktop's service went away or came back. */
    void problemChanged();
};

Q_DECLARE_METATYPE(VXHotKeyID)
