#pragma once

#include "VXX11Connection.h"

#include <QtCore/QtGlobal>

#include <memory>

#include <xcb/xcb_keysyms.h>

/**
 * Which bits of an X modifier state stand for which modifier: the keyboard mapping decides, and it may change at run time
 * (`refresh`). Main thread only.
 */
class VXX11Keyboard
{
public:
    explicit VXX11Keyboard(VXX11Connection &connection);

    /** The code that X gives the key of an evdev code; 0 when it has none. */
    xcb_keycode_t keyCodeFromEvdev(quint32 code) const;
    /** The X state of modifiers (VXHotKeyModifier). False when the keyboard lacks one of them. */
    bool stateOfModifiers(quint32 modifiers, quint16 *state) const;

    /** The modifiers that choose a combination; the others are locks and buttons. */
    quint16 choosingModifiers() const { return _shift | _control | _option | _command; }
    quint16 capsLock() const { return XCB_MOD_MASK_LOCK; }
    /** Num lock and scroll lock: never part of a combination. */
    quint16 ignoredLocks() const { return _ignoredLocks; }

    /** Reads the mapping anew. True when a modifier has another bit now. */
    bool refresh(xcb_mapping_notify_event_t *event = nullptr);

private:
    struct FreeKeySymbols
    {
        void operator()(xcb_key_symbols_t *symbols) const { xcb_key_symbols_free(symbols); }
    };

    bool hasSymbol(xcb_keycode_t keyCode, std::initializer_list<xcb_keysym_t> symbols) const;

    VXX11Connection &_connection;
    std::unique_ptr<xcb_key_symbols_t, FreeKeySymbols> _symbols;
    quint16 _shift = XCB_MOD_MASK_SHIFT;
    quint16 _control = XCB_MOD_MASK_CONTROL;
    quint16 _option = 0;
    quint16 _command = 0;
    quint16 _ignoredLocks = 0;
};
