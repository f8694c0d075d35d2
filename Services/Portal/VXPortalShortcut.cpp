#include "VXPortalShortcut.h"

#include "VXHotKeyService.h"
#include "VXKeyCombination.h"

#include <QtCore/QHash>
#include <QtCore/QStringList>

using namespace Qt::StringLiterals;

namespace {

// Keys whose keysym (xkbcommon-keysyms.h, without "XKB_KEY_") is not simply our name.
QString keySymbol(const QString &name)
{
    static const QHash<QString, QString> symbols{{u"PageUp"_s, u"Page_Up"_s},
                                                 {u"PageDown"_s, u"Page_Down"_s},
                                                 {u"Backspace"_s, u"BackSpace"_s},
                                                 {u"ScrollLock"_s, u"Scroll_Lock"_s},
                                                 {u"Space"_s, u"space"_s},
                                                 {u"Minus"_s, u"minus"_s},
                                                 {u"Equal"_s, u"equal"_s},
                                                 {u"BracketLeft"_s, u"bracketleft"_s},
                                                 {u"BracketRight"_s, u"bracketright"_s},
                                                 {u"Semicolon"_s, u"semicolon"_s},
                                                 {u"Apostrophe"_s, u"apostrophe"_s},
                                                 {u"Grave"_s, u"grave"_s},
                                                 {u"Backslash"_s, u"backslash"_s},
                                                 {u"Comma"_s, u"comma"_s},
                                                 {u"Period"_s, u"period"_s},
                                                 {u"Slash"_s, u"slash"_s},
                                                 {u"Less"_s, u"less"_s},
                                                 {u"PadPlus"_s, u"KP_Add"_s},
                                                 {u"PadMinus"_s, u"KP_Subtract"_s},
                                                 {u"PadAsterisk"_s, u"KP_Multiply"_s},
                                                 {u"PadSlash"_s, u"KP_Divide"_s},
                                                 {u"PadEnter"_s, u"KP_Enter"_s},
                                                 {u"PadPeriod"_s, u"KP_Decimal"_s},
                                                 {u"Mail"_s, u"XF86Mail"_s},
                                                 {u"HomePage"_s, u"XF86HomePage"_s},
                                                 {u"Search"_s, u"XF86Search"_s},
                                                 {u"Calculator"_s, u"XF86Calculator"_s},
                                                 {u"Phone"_s, u"XF86Phone"_s}};
    if (const auto found = symbols.constFind(name); found != symbols.cend())
        return *found;
    if (name.startsWith("Audio"_L1))
        return "XF86"_L1 + name;
    if (name.startsWith("Pad"_L1))
        return "KP_"_L1 + name.sliced(3);
    if (name.startsWith("Key"_L1)) // a number, for which there is no word
        return {};
    return name.size() == 1 ? name.toLower() : name;
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const VXPortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.identifier << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, VXPortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.identifier >> shortcut.properties;
    argument.endStructure();
    return argument;
}

QString VXPortalTrigger(quint32 keyCode, quint32 modifiers)
{
    const QString symbol = keySymbol(VXKeyCombination{keyCode, 0}.text());
    if (symbol.isNull())
        return {};
    QStringList words;
    if ((modifiers & VXHotKeyControl) != 0)
        words.append(u"CTRL"_s);
    if ((modifiers & VXHotKeyOption) != 0)
        words.append(u"ALT"_s);
    if ((modifiers & VXHotKeyShift) != 0)
        words.append(u"SHIFT"_s);
    if ((modifiers & VXHotKeyCommand) != 0)
        words.append(u"LOGO"_s);
    return (words << symbol).join(u'+');
}
