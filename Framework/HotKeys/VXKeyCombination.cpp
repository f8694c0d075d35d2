#include "VXKeyCombination.h"

#include "VXHotKeyService.h"

#include <QtCore/QHash>
#include <QtCore/QLatin1StringView>
#include <QtCore/QStringList>

#include <array>

#include <linux/input-event-codes.h>

using namespace Qt::StringLiterals;

namespace {

struct Modifier
{
    quint32 flag;
    quint32 serviceModifier;
    QLatin1StringView name; // shown to the user
    std::array<QLatin1StringView, 2> otherNames;
};

// In the order in which their names appear in texts.
constexpr std::array<Modifier, 5> modifierTable{{
    {VXModifierControl, VXHotKeyControl, "Ctrl"_L1, {"Control"_L1, "Strg"_L1}},
    {VXModifierOption, VXHotKeyOption, "Alt"_L1, {"Option"_L1, "Opt"_L1}},
    {VXModifierShift, VXHotKeyShift, "Shift"_L1, {"Umschalt"_L1, {}}},
    {VXModifierCommand, VXHotKeyCommand, "Super"_L1, {"Command"_L1, "Meta"_L1}},
    {VXModifierCapsLock, VXHotKeyCapsLock, "CapsLock"_L1, {"Caps"_L1, {}}},
}};

struct Key
{
    quint32 code;
    QLatin1StringView name;
};

// If a code has several names, the first one is shown.
constexpr std::array keyTable{
    Key{KEY_A, "A"_L1},
    Key{KEY_B, "B"_L1},
    Key{KEY_C, "C"_L1},
    Key{KEY_D, "D"_L1},
    Key{KEY_E, "E"_L1},
    Key{KEY_F, "F"_L1},
    Key{KEY_G, "G"_L1},
    Key{KEY_H, "H"_L1},
    Key{KEY_I, "I"_L1},
    Key{KEY_J, "J"_L1},
    Key{KEY_K, "K"_L1},
    Key{KEY_L, "L"_L1},
    Key{KEY_M, "M"_L1},
    Key{KEY_N, "N"_L1},
    Key{KEY_O, "O"_L1},
    Key{KEY_P, "P"_L1},
    Key{KEY_Q, "Q"_L1},
    Key{KEY_R, "R"_L1},
    Key{KEY_S, "S"_L1},
    Key{KEY_T, "T"_L1},
    Key{KEY_U, "U"_L1},
    Key{KEY_V, "V"_L1},
    Key{KEY_W, "W"_L1},
    Key{KEY_X, "X"_L1},
    Key{KEY_Y, "Y"_L1},
    Key{KEY_Z, "Z"_L1},
    Key{KEY_0, "0"_L1},
    Key{KEY_1, "1"_L1},
    Key{KEY_2, "2"_L1},
    Key{KEY_3, "3"_L1},
    Key{KEY_4, "4"_L1},
    Key{KEY_5, "5"_L1},
    Key{KEY_6, "6"_L1},
    Key{KEY_7, "7"_L1},
    Key{KEY_8, "8"_L1},
    Key{KEY_9, "9"_L1},
    Key{KEY_F1, "F1"_L1},
    Key{KEY_F2, "F2"_L1},
    Key{KEY_F3, "F3"_L1},
    Key{KEY_F4, "F4"_L1},
    Key{KEY_F5, "F5"_L1},
    Key{KEY_F6, "F6"_L1},
    Key{KEY_F7, "F7"_L1},
    Key{KEY_F8, "F8"_L1},
    Key{KEY_F9, "F9"_L1},
    Key{KEY_F10, "F10"_L1},
    Key{KEY_F11, "F11"_L1},
    Key{KEY_F12, "F12"_L1},
    Key{KEY_F13, "F13"_L1},
    Key{KEY_F14, "F14"_L1},
    Key{KEY_F15, "F15"_L1},
    Key{KEY_F16, "F16"_L1},
    Key{KEY_F17, "F17"_L1},
    Key{KEY_F18, "F18"_L1},
    Key{KEY_F19, "F19"_L1},
    Key{KEY_F20, "F20"_L1},
    Key{KEY_F21, "F21"_L1},
    Key{KEY_F22, "F22"_L1},
    Key{KEY_F23, "F23"_L1},
    Key{KEY_F24, "F24"_L1},
    Key{KEY_ESC, "Escape"_L1},
    Key{KEY_ESC, "Esc"_L1},
    Key{KEY_TAB, "Tab"_L1},
    Key{KEY_ENTER, "Return"_L1},
    Key{KEY_ENTER, "Enter"_L1},
    Key{KEY_SPACE, "Space"_L1},
    Key{KEY_BACKSPACE, "Backspace"_L1},
    Key{KEY_DELETE, "Delete"_L1},
    Key{KEY_DELETE, "Del"_L1},
    Key{KEY_INSERT, "Insert"_L1},
    Key{KEY_HOME, "Home"_L1},
    Key{KEY_END, "End"_L1},
    Key{KEY_PAGEUP, "PageUp"_L1},
    Key{KEY_PAGEDOWN, "PageDown"_L1},
    Key{KEY_UP, "Up"_L1},
    Key{KEY_DOWN, "Down"_L1},
    Key{KEY_LEFT, "Left"_L1},
    Key{KEY_RIGHT, "Right"_L1},
    Key{KEY_SYSRQ, "Print"_L1},
    Key{KEY_PAUSE, "Pause"_L1},
    Key{KEY_SCROLLLOCK, "ScrollLock"_L1},
    Key{KEY_COMPOSE, "Menu"_L1},
    Key{KEY_MINUS, "Minus"_L1},
    Key{KEY_EQUAL, "Equal"_L1},
    Key{KEY_LEFTBRACE, "BracketLeft"_L1},
    Key{KEY_RIGHTBRACE, "BracketRight"_L1},
    Key{KEY_SEMICOLON, "Semicolon"_L1},
    Key{KEY_APOSTROPHE, "Apostrophe"_L1},
    Key{KEY_GRAVE, "Grave"_L1},
    Key{KEY_BACKSLASH, "Backslash"_L1},
    Key{KEY_COMMA, "Comma"_L1},
    Key{KEY_DOT, "Period"_L1},
    Key{KEY_SLASH, "Slash"_L1},
    Key{KEY_102ND, "Less"_L1},
    Key{KEY_KP0, "Pad0"_L1},
    Key{KEY_KP1, "Pad1"_L1},
    Key{KEY_KP2, "Pad2"_L1},
    Key{KEY_KP3, "Pad3"_L1},
    Key{KEY_KP4, "Pad4"_L1},
    Key{KEY_KP5, "Pad5"_L1},
    Key{KEY_KP6, "Pad6"_L1},
    Key{KEY_KP7, "Pad7"_L1},
    Key{KEY_KP8, "Pad8"_L1},
    Key{KEY_KP9, "Pad9"_L1},
    Key{KEY_KPPLUS, "PadPlus"_L1},
    Key{KEY_KPMINUS, "PadMinus"_L1},
    Key{KEY_KPASTERISK, "PadAsterisk"_L1},
    Key{KEY_KPSLASH, "PadSlash"_L1},
    Key{KEY_KPENTER, "PadEnter"_L1},
    Key{KEY_KPDOT, "PadPeriod"_L1},
    Key{KEY_PLAYPAUSE, "AudioPlay"_L1},
    Key{KEY_STOPCD, "AudioStop"_L1},
    Key{KEY_NEXTSONG, "AudioNext"_L1},
    Key{KEY_PREVIOUSSONG, "AudioPrev"_L1},
    Key{KEY_MUTE, "AudioMute"_L1},
    Key{KEY_VOLUMEUP, "AudioRaiseVolume"_L1},
    Key{KEY_VOLUMEDOWN, "AudioLowerVolume"_L1},
    Key{KEY_MICMUTE, "AudioMicMute"_L1},
    Key{KEY_MAIL, "Mail"_L1},
    Key{KEY_HOMEPAGE, "HomePage"_L1},
    Key{KEY_SEARCH, "Search"_L1},
    Key{KEY_CALC, "Calculator"_L1},
    Key{KEY_PHONE, "Phone"_L1},
};

constexpr quint32 highestKeyCode = KEY_MAX;

bool isSame(QStringView a, QLatin1StringView b)
{
    return !b.isEmpty() && a.compare(b, Qt::CaseInsensitive) == 0;
}

quint32 flagOf(QStringView word)
{
    for (const Modifier &modifier : modifierTable) {
        if (isSame(word, modifier.name) || isSame(word, modifier.otherNames[0]) || isSame(word, modifier.otherNames[1]))
            return modifier.flag;
    }
    return 0;
}

quint32 codeOf(QStringView word)
{
    for (const Key &key : keyTable) {
        if (isSame(word, key.name))
            return key.code;
    }
    const QStringView prefix = word.first(std::min<qsizetype>(word.size(), 3));
    if (!isSame(prefix, "Key"_L1))
        return 0;
    bool isNumber = false;
    const uint code = word.sliced(3).trimmed().toUInt(&isNumber);
    return isNumber && code <= highestKeyCode ? code : 0;
}

} // namespace

std::optional<VXKeyCombination> VXKeyCombination::fromText(const QString &text, QString *reason)
{
    const auto refuse = [reason](const QString &why) -> std::optional<VXKeyCombination> {
        if (reason != nullptr)
            *reason = why;
        return std::nullopt;
    };
    VXKeyCombination combination;
    const QStringList words = text.split(u'+');
    for (qsizetype index = 0; index < words.size(); ++index) {
        const QStringView word = QStringView(words.at(index)).trimmed();
        const bool isLast = index + 1 == words.size();
        if (word.isEmpty())
            return refuse(u"\"%1\" lacks a key: a combination is written as \"Ctrl+Alt+D\""_s.arg(text));
        if (const quint32 flag = flagOf(word); flag != 0 && !isLast) {
            combination.modifiers |= flag;
            continue;
        }
        if (!isLast)
            return refuse(u"\"%1\" is no modifier; there are Ctrl, Alt, Shift, Super and CapsLock"_s.arg(word));
        combination.keyCode = codeOf(word);
        if (combination.keyCode == 0)
            return refuse(
                u"there is no key \"%1\"; keys have the names of a US keyboard, as D, F5, PageUp, AudioPlay, or "
                "numbers, as Key250"_s.arg(word));
    }
    return combination;
}

QString VXKeyCombination::text() const
{
    if (keyCode == 0)
        return {};
    QStringList words;
    for (const Modifier &modifier : modifierTable) {
        if ((modifiers & modifier.flag) != 0)
            words.append(modifier.name);
    }
    const auto *const key =
        std::find_if(keyTable.begin(), keyTable.end(), [this](const Key &k) { return k.code == keyCode; });
    words.append(key == keyTable.end() ? u"Key%1"_s.arg(keyCode) : QString(key->name));
    return words.join(u'+');
}

quint32 VXHotKeyModifiersFromFlags(quint32 flags)
{
    quint32 result = 0;
    for (const Modifier &modifier : modifierTable) {
        if ((flags & modifier.flag) != 0)
            result |= modifier.serviceModifier;
    }
    return result;
}
