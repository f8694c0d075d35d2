#pragma once

#include "VXFrameworkExport.h"
#include "VXHotKeyService.h"
#include "VXInvocation.h"

#include <QtCore/QString>

/**
 * A command that a key combination can run, and its registration with the service while it is bound to one. Main thread
 * only.
 */
class VX_EXPORT VXHotKey
{
public:
    /** The service must outlive the hot key, or be replaced by `setService`. */
    VXHotKey(const QString &identifier, VXHotKeyService &service);
    ~VXHotKey();
    VXHotKey(const VXHotKey &) = delete;
    VXHotKey &operator=(const VXHotKey &) = delete;

    QString identifier() const { return _identifier; }
    /** The ID of the latest registration; zeros before the first. */
    VXHotKeyID hotKeyID() const { return _hotKeyID; }
    bool isRegistered() const { return _hotKeyRef != 0; }
    VXHotKeyRef hotKeyRef() const { return _hotKeyRef; }

    /** The command's title, for lists. */
    QString title() const { return _localizedTitle; }
    void setTitle(const QString &title) { _localizedTitle = title; }
    /** The combination as shown to the user; null while unregistered. */
    QString displayString() const { return _displayString; }
    void setDisplayString(const QString &displayString) { _displayString = displayString; }
    /** What a press calls, with the identifier as the only argument. */
    const VXInvocation &callbackInvocation() const { return _callbackInvocation; }
    void setCallbackInvocation(const VXInvocation &invocation) { _callbackInvocation = invocation; }

    /** Why the latest registration failed (VXHotKeyStatus); VXHotKeyDone if it succeeded, or there was none. */
    quint32 status() const { return _status; }
    /** A status in the form used in logs: upper-case hexadecimal. */
    static QString textOfStatus(quint32 status);

    /**
     * Registers with the service, under a number that was never used before. `modifiers`: VXModifierFlag. Registering
     * twice fails an assertion. False, logged, when the service refuses.
     */
    bool registerWithKeyCode(quint32 keyCode, quint32 modifiers, const QString &displayString);
    /** Without a registration, only clears the display string. */
    void unregister();
    /** To be called when the service has dropped the registration by itself. */
    void forgetRegistration(quint32 status);
    /** Uses that service from now on; must be unregistered. */
    void setService(VXHotKeyService &service) { _service = &service; }

private:
    VXHotKeyService *_service;
    VXHotKeyID _hotKeyID;
    VXHotKeyRef _hotKeyRef = 0;
    const QString _identifier;
    QString _displayString;
    QString _localizedTitle;
    VXInvocation _callbackInvocation;
    quint32 _status = VXHotKeyDone;
};
