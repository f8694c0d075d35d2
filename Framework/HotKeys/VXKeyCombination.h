#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

#include <optional>

/** Modifier flags of a key combination, in the form in which they are stored and passed. Other bits are ignored. */
enum VXModifierFlag : quint32 {
    VXModifierCapsLock = 0x10000,
    VXModifierShift = 0x20000,
    VXModifierControl = 0x40000,
    VXModifierOption = 0x80000,
    VXModifierCommand = 0x100000,
};

/**
 * A key with modifiers. Key codes are those that Linux uses (evdev, input-event-codes.h): they identify a position on
 * the keyboard, whatever character the layout assigns to it. Names are those of the keys of a US keyboard. A value
 * type.
 */
struct VX_EXPORT VXKeyCombination
{
    quint32 keyCode = 0; // 0: none
    quint32 modifiers = 0;

    /**
     * Parses "Ctrl+Alt+D", "Super+F5", "AudioPlay", "Key250": modifiers in any order, then the key, ignoring case.
     * Empty, with the reason, for anything else.
     */
    static std::optional<VXKeyCombination> fromText(const QString &text, QString *reason = nullptr);
    /** The combination in that form, without blanks; null without a key. */
    QString text() const;

    friend bool operator==(const VXKeyCombination &a, const VXKeyCombination &b) = default;
};

/** Modifier flags in the encoding of hot-key services (VXHotKeyModifier). */
[[nodiscard]] VX_EXPORT quint32 VXHotKeyModifiersFromFlags(quint32 flags);
