#include "VXScriptingAdaptors.h"

#include "VXDBusValue.h"
#include "VXDevicePlugin.h"
#include "VXObjectSpecifier.h"
#include "VXScriptApplication.h"
#include "VXScriptCommand.h"
#include "VXScriptingCalls.h"
#include "VXScriptPhonebook.h"

using namespace Qt::StringLiterals;

namespace {

// Objects that are no plain values are named by their specifiers or URLs.
QVariant shown(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QVariantList>()) {
        QVariantList list;
        for (const QVariant &element : value.toList())
            list.append(shown(element));
        return list;
    }
    if (value.metaType().flags().testFlag(QMetaType::PointerToQObject)) {
        const auto *const object = value.value<QObject *>();
        if (const auto *const device = qobject_cast<const VXDevicePlugin *>(object))
            return device->url();
        if (const auto *const plugin = qobject_cast<const VXPlugin *>(object))
            return VXScriptApplication::shared().specifierForPlugin(*plugin).text();
    }
    if (value.metaType() == QMetaType::fromType<QList<VXLocalizedProperty>>()) {
        QVariantMap map;
        for (const VXLocalizedProperty &property : value.value<QList<VXLocalizedProperty>>())
            map.insert(property.title(), property.value());
        return map;
    }
    if (value.metaType() == QMetaType::fromType<VXLocalizedProperty>())
        return value.value<VXLocalizedProperty>().value();
    if (value.metaType() == QMetaType::fromType<QVariantMap>()) {
        QVariantMap map = value.toMap();
        for (QVariant &entry : map)
            entry = shown(entry);
        return map;
    }
    return value;
}

} // namespace

QVariant VXShownToScripts(const QVariant &value)
{
    return VXCarriedByDBus(shown(value));
}

// -- The application

void VXApplicationAdaptor::Get(const QString &specifier, const QDBusMessage &call, QDBusVariant &value)
{
    value = _calls.serve(call, [&specifier] {
        QString reason;
        const auto parsed = VXObjectSpecifier::fromText(specifier, &reason);
        if (!parsed)
            throw VXScriptingFault{u"org.freedesktop.DBus.Error.InvalidArgs"_s,
                                   u"\"%1\" is no specifier: %2"_s.arg(specifier, reason)};
        const VXScriptApplication &application = VXScriptApplication::shared();
        if (parsed->isApplication())
            return QDBusVariant(application.valueForKey(u"name"_s).toString());
        VXScriptCommand command(QVariant::fromValue(*parsed), application.value());
        const QVariant objects = command.vx_evaluatedDirectParameter();
        if (command.scriptErrorNumber() != 0)
            throw VXScriptingFault{u"NotFound"_s, command.scriptErrorString()};
        const QVariant shown = VXShownToScripts(objects);
        return QDBusVariant(shown.isValid() ? shown : QVariant(u""_s));
    });
}

// -- The phonebook

void VXPhonebookAdaptor::LookUp(const QString &phonebookString, const QDBusMessage &call, QVariantMap &contact)
{
    contact = _calls.serve(call, [&] { return VXShownToScripts(VXScriptPhonebook::lookUp(phonebookString)).toMap(); });
}

void VXPhonebookAdaptor::Complete(const QString &typed, uint properties, uint limit, const QDBusMessage &call,
                                  QStringList &phonebookStrings)
{
    phonebookStrings = _calls.serve(call, [&] { return VXScriptPhonebook::complete(typed, properties, limit); });
}

void VXPhonebookAdaptor::Entry(const QString &phonebookString, const QDBusMessage &call, QVariantMap &parts)
{
    parts = _calls.serve(call, [&] { return VXShownToScripts(VXScriptPhonebook::entry(phonebookString)).toMap(); });
}

void VXPhonebookAdaptor::List(uint limit, const QDBusMessage &call, QStringList &phonebookStrings)
{
    phonebookStrings = _calls.serve(call, [limit] { return VXScriptPhonebook::list(limit); });
}
