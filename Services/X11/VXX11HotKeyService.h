#pragma once

#include "VXHotKeyService.h"
#include "VXX11Connection.h"
#include "VXX11Keyboard.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <memory>
#include <optional>

/**
 * Hot keys by passive grabs on the X server's root windows (X11 protocol, GrabKey), one for each state of the locks that do not
 * count. Held keys tell one press. Grabs are renewed when the keyboard mapping changes.
 */
class VXX11HotKeyService : public VXHotKeyService
{
    Q_OBJECT

public:
    VXX11HotKeyService();
    ~VXX11HotKeyService() override;

    QString name() const override;
    QString problem() const override { return _connection.problem(); }
    quint32 installListener() override;
    quint32 registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref) override;
    quint32 unregisterHotKey(VXHotKeyRef ref) override;

private:
    /** One combination: a key and the state of the modifiers that choose it. */
    struct Grab
    {
        xcb_keycode_t keyCode = 0;
        quint16 state = 0;

        friend bool operator==(const Grab &a, const Grab &b) = default;
        friend size_t qHash(const Grab &grab, size_t seed = 0) { return qHashMulti(seed, grab.keyCode, grab.state); }
    };
    struct Registration
    {
        VXHotKeyRequest request;
        std::optional<Grab> grab; // none: the present keyboard lacks it
    };

    quint32 grabFor(const VXHotKeyRequest &request, Grab *grab) const;
    QList<quint16> lockStates(const Grab &grab) const;
    quint32 grabKey(const Grab &grab);
    void ungrabKey(const Grab &grab);
    void handleEvent(const xcb_generic_event_t *event, const xcb_generic_event_t *next);
    void keyWasPressed(const xcb_key_press_event_t &event);
    void mappingChanged(const xcb_mapping_notify_event_t &event);

    VXX11Connection _connection;
    std::unique_ptr<VXX11Keyboard> _keyboard; // null without a connection
    QHash<VXHotKeyRef, Registration> _registrations;
    QHash<Grab, VXHotKeyID> _presses;
    VXHotKeyRef _lastRef = 0;
    xcb_keycode_t _heldKey = 0; // repeats of it are no presses
};
