#include "VXX11Keyboard.h"

#include "VXHotKeyService.h"

#include <algorithm>
#include <array>
#include <tuple>

#include <X11/keysym.h>

namespace {

constexpr quint32 evdevOffset = 8; // X counts keys from there
constexpr int modifierCount = 8;   // bits of a state that are modifiers

} // namespace

VXX11Keyboard::VXX11Keyboard(VXX11Connection &connection)
    : _connection(connection), _symbols(xcb_key_symbols_alloc(connection.get()))
{
    refresh();
}

xcb_keycode_t VXX11Keyboard::keyCodeFromEvdev(quint32 code) const
{
    const xcb_setup_t *const setup = _connection.setup();
    const quint32 keyCode = code + evdevOffset;
    const bool isKnown = code != 0 && keyCode >= setup->min_keycode && keyCode <= setup->max_keycode;
    return isKnown ? static_cast<xcb_keycode_t>(keyCode) : 0;
}

bool VXX11Keyboard::stateOfModifiers(quint32 modifiers, quint16 *state) const
{
    const std::array<std::pair<quint32, quint16>, 5> bits{{{VXHotKeyShift, _shift},
                                                           {VXHotKeyControl, _control},
                                                           {VXHotKeyOption, _option},
                                                           {VXHotKeyCommand, _command},
                                                           {VXHotKeyCapsLock, capsLock()}}};
    *state = 0;
    for (const auto &[modifier, bit] : bits) {
        if ((modifiers & modifier) == 0)
            continue;
        if (bit == 0)
            return false;
        *state = static_cast<quint16>(*state | bit);
    }
    return true;
}

bool VXX11Keyboard::hasSymbol(xcb_keycode_t keyCode, std::initializer_list<xcb_keysym_t> symbols) const
{
    constexpr int columns = 4; // plain and shifted, of two groups
    for (int column = 0; column < columns; ++column) {
        if (std::ranges::find(symbols, xcb_key_symbols_get_keysym(_symbols.get(), keyCode, column)) != symbols.end())
            return true;
    }
    return false;
}

bool VXX11Keyboard::refresh(xcb_mapping_notify_event_t *event)
{
    if (event != nullptr)
        xcb_refresh_keyboard_mapping(_symbols.get(), event);
    const VXX11Reply<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(_connection.get(), xcb_get_modifier_mapping(_connection.get()), nullptr));
    if (!mapping)
        return false;
    const auto before = std::tuple(_option, _command, _ignoredLocks);
    quint16 option = 0;
    quint16 command = 0;
    quint16 locks = 0;
    const xcb_keycode_t *const keyCodes = xcb_get_modifier_mapping_keycodes(mapping.get());
    for (int modifier = 0; modifier < modifierCount; ++modifier) {
        for (int index = 0; index < mapping->keycodes_per_modifier; ++index) {
            const xcb_keycode_t keyCode = keyCodes[modifier * mapping->keycodes_per_modifier + index];
            const auto bit = static_cast<quint16>(1U << modifier);
            if (keyCode == 0)
                continue;
            if (option == 0 && hasSymbol(keyCode, {XK_Alt_L, XK_Alt_R, XK_Meta_L, XK_Meta_R}))
                option = bit;
            else if (command == 0 && hasSymbol(keyCode, {XK_Super_L, XK_Super_R}))
                command = bit;
            else if (hasSymbol(keyCode, {XK_Num_Lock, XK_Scroll_Lock}))
                locks = static_cast<quint16>(locks | bit);
        }
    }
    std::tie(_option, _command, _ignoredLocks) = std::tuple(option, command, locks);
    return before != std::tuple(_option, _command, _ignoredLocks);
}
