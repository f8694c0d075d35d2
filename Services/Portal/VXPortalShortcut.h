#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariantMap>
#include <QtDBus/QDBusArgument>

struct VXKeyCombination;

/** A shortcut as the GlobalShortcuts portal takes and gives it, "(sa{sv})". */
struct VXPortalShortcut
{
    QString identifier;
    QVariantMap properties; // "description", "preferred_trigger", and, in answers, "trigger_description"
};

QDBusArgument &operator<<(QDBusArgument &argument, const VXPortalShortcut &shortcut);
const QDBusArgument &operator>>(const QDBusArgument &argument, VXPortalShortcut &shortcut);

Q_DECLARE_METATYPE(VXPortalShortcut)
Q_DECLARE_METATYPE(QList<VXPortalShortcut>)

/** The combination in the form of the freedesktop.org shortcuts specification: "CTRL+ALT+d". Modifiers: VXHotKeyModifier.
 *  Null when that form has no word for it. */
[[nodiscard]] QString VXPortalTrigger(quint32 keyCode, quint32 modifiers);
