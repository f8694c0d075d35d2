#include "VXX11HotKeyService.h"

using namespace Qt::StringLiterals;

namespace {

constexpr quint8 eventTypeMask = 0x7f; // the other bit: sent by another client
constexpr quint8 badAccess = 10;       // X11 protocol: somebody else has grabbed it

quint8 typeOf(const xcb_generic_event_t &event)
{
    return event.response_type & eventTypeMask;
}

// With a held key the server sends a release and a press of the same moment, again and again.
bool isRepeat(const xcb_key_release_event_t &release, const xcb_generic_event_t *next)
{
    if (next == nullptr || typeOf(*next) != XCB_KEY_PRESS)
        return false;
    const auto &press = reinterpret_cast<const xcb_key_press_event_t &>(*next);
    return press.detail == release.detail && press.time == release.time;
}

} // namespace

VXX11HotKeyService::VXX11HotKeyService()
{
    if (!_connection.isUp())
        return;
    _keyboard = std::make_unique<VXX11Keyboard>(_connection);
    connect(&_connection, &VXX11Connection::lost, this, &VXHotKeyService::problemChanged);
}

VXX11HotKeyService::~VXX11HotKeyService() = default; // the server ends the grabs with the connection

QString VXX11HotKeyService::name() const
{
    return u"X11"_s;
}

quint32 VXX11HotKeyService::installListener()
{
    if (!_connection.isUp())
        return VXHotKeyNotConnected;
    connect(&_connection, &VXX11Connection::eventArrived, this, &VXX11HotKeyService::handleEvent);
    _connection.flush();
    return VXHotKeyDone;
}

quint32 VXX11HotKeyService::grabFor(const VXHotKeyRequest &request, Grab *grab) const
{
    grab->keyCode = _keyboard->keyCodeFromEvdev(request.keyCode);
    const bool hasKey = grab->keyCode != 0 && _keyboard->stateOfModifiers(request.modifiers, &grab->state);
    return hasKey ? VXHotKeyDone : VXHotKeyNoSuchKey;
}

quint32 VXX11HotKeyService::registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref)
{
    *ref = 0;
    if (!_connection.isUp())
        return VXHotKeyNotConnected;
    Grab grab;
    if (const quint32 status = grabFor(request, &grab); status != VXHotKeyDone)
        return status;
    if (_presses.contains(grab)) // a grab of one's own is granted twice
        return VXHotKeyTaken;
    if (const quint32 status = grabKey(grab); status != VXHotKeyDone)
        return status;
    *ref = ++_lastRef;
    _registrations.insert(*ref, {request, grab});
    _presses.insert(grab, request.hotKeyID);
    return VXHotKeyDone;
}

quint32 VXX11HotKeyService::unregisterHotKey(VXHotKeyRef ref)
{
    const auto found = _registrations.constFind(ref);
    if (found == _registrations.cend())
        return VXHotKeyUnknownRef;
    const std::optional<Grab> grab = found->grab;
    _registrations.erase(found);
    if (grab) {
        _presses.remove(*grab);
        if (_connection.isUp())
            ungrabKey(*grab);
    }
    return VXHotKeyDone;
}

// Every state in which the locks that do not count may be.
QList<quint16> VXX11HotKeyService::lockStates(const Grab &grab) const
{
    QList<quint16> states{grab.state};
    const bool wantsCapsLock = (grab.state & _keyboard->capsLock()) != 0;
    const quint16 locks = static_cast<quint16>(_keyboard->ignoredLocks() | (wantsCapsLock ? 0 : _keyboard->capsLock()));
    for (quint16 bit = 1; bit != 0; bit = static_cast<quint16>(bit << 1)) {
        if ((locks & bit) == 0)
            continue;
        for (qsizetype index = 0, count = states.size(); index < count; ++index)
            states.append(static_cast<quint16>(states.at(index) | bit));
    }
    return states;
}

quint32 VXX11HotKeyService::grabKey(const Grab &grab)
{
    QList<xcb_void_cookie_t> cookies;
    for (const xcb_window_t root : _connection.rootWindows()) {
        for (const quint16 state : lockStates(grab))
            cookies.append(xcb_grab_key_checked(_connection.get(), 1, root, state, grab.keyCode, XCB_GRAB_MODE_ASYNC,
                                                XCB_GRAB_MODE_ASYNC));
    }
    quint32 status = VXHotKeyDone;
    for (const xcb_void_cookie_t cookie : cookies) {
        const VXX11Reply<xcb_generic_error_t> error(xcb_request_check(_connection.get(), cookie));
        if (error)
            status = error->error_code == badAccess ? VXHotKeyTaken : VXHotKeyNoSuchKey;
    }
    if (status != VXHotKeyDone) // it may have been granted in part
        ungrabKey(grab);
    _connection.flush();
    return status;
}

void VXX11HotKeyService::ungrabKey(const Grab &grab)
{
    for (const xcb_window_t root : _connection.rootWindows()) {
        for (const quint16 state : lockStates(grab))
            xcb_ungrab_key(_connection.get(), grab.keyCode, root, state);
    }
    _connection.flush();
}

void VXX11HotKeyService::handleEvent(const xcb_generic_event_t *event, const xcb_generic_event_t *next)
{
    switch (typeOf(*event)) {
    case XCB_KEY_PRESS:
        keyWasPressed(reinterpret_cast<const xcb_key_press_event_t &>(*event));
        return;
    case XCB_KEY_RELEASE: {
        const auto &release = reinterpret_cast<const xcb_key_release_event_t &>(*event);
        if (release.detail == _heldKey && !isRepeat(release, next))
            _heldKey = 0;
        return;
    }
    case XCB_MAPPING_NOTIFY:
        mappingChanged(reinterpret_cast<const xcb_mapping_notify_event_t &>(*event));
        return;
    default:
        return;
    }
}

void VXX11HotKeyService::keyWasPressed(const xcb_key_press_event_t &event)
{
    if (event.detail == _heldKey)
        return;
    _heldKey = event.detail;
    const auto chosen = static_cast<quint16>(event.state & _keyboard->choosingModifiers());
    const auto withCapsLock = static_cast<quint16>(chosen | (event.state & _keyboard->capsLock()));
    for (const quint16 state : {withCapsLock, chosen}) { // one that asks for caps lock goes before
        const auto found = _presses.constFind({event.detail, state});
        if (found != _presses.cend()) {
            Q_EMIT hotKeyPressed(*found);
            return;
        }
    }
}

void VXX11HotKeyService::mappingChanged(const xcb_mapping_notify_event_t &event)
{
    xcb_mapping_notify_event_t copy = event;
    const QList<Grab> before = _presses.keys();
    for (const Grab &grab : before) // by the bits they were made with
        ungrabKey(grab);
    _keyboard->refresh(&copy);
    _presses.clear();
    QList<VXHotKeyRef> refused;
    for (auto entry = _registrations.begin(); entry != _registrations.end();) {
        Grab grab;
        quint32 status = grabFor(entry->request, &grab);
        if (status == VXHotKeyDone)
            status = grabKey(grab);
        if (status == VXHotKeyDone || status == VXHotKeyNoSuchKey) { // a later mapping may have it again
            entry->grab = status == VXHotKeyDone ? std::optional(grab) : std::nullopt;
            if (entry->grab)
                _presses.insert(grab, entry->request.hotKeyID);
            ++entry;
            continue;
        }
        refused.append(entry.key());
        entry = _registrations.erase(entry);
    }
    for (const VXHotKeyRef ref : refused)
        Q_EMIT registrationRefused(ref, u"another program took it when the keyboard mapping changed"_s);
}
