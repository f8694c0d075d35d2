#pragma once

#include <QtCore/QList>
#include <QtCore/QVariantMap>
#include <QtDBus/QDBusAbstractAdaptor>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusVariant>

class VXScriptingCalls;
struct VXNotification;

/** A value as scripts get it: devices as URLs, plugins as specifiers, and what D-Bus has no type for as text. */
[[nodiscard]] QVariant VXShownToScripts(const QVariant &value);

/** The application itself: whatever a specifier names. */
class VXApplicationAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.halvern.VNX2.Application")

public:
    VXApplicationAdaptor(VXScriptingCalls &calls, QObject *parent) : QDBusAbstractAdaptor(parent), _calls(calls) {}

public Q_SLOTS:
    /** As "version", "devices[0].localizedDescription", "as_plugins.as_name". */
    QDBusVariant Get(const QString &specifier, const QDBusMessage &call);

private:
    VXScriptingCalls &_calls;
};

/** Contacts, by phonebook strings. */
class VXPhonebookAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.halvern.VNX2.Phonebook")

public:
    VXPhonebookAdaptor(VXScriptingCalls &calls, QObject *parent) : QDBusAbstractAdaptor(parent), _calls(calls) {}

public Q_SLOTS:
    /** What is known of who stands behind a phonebook string; empty when nobody knows it. */
    QVariantMap LookUp(const QString &phonebookString, const QDBusMessage &call);
    /** Phonebook strings that what was typed may become. */
    QStringList Complete(const QString &typed, uint properties, uint limit, const QDBusMessage &call);
    /** The parts of a phonebook string, known or not. */
    QVariantMap Entry(const QString &phonebookString, const QDBusMessage &call);
    /** All phonebook strings, up to a limit. */
    QStringList List(uint limit, const QDBusMessage &call);

private:
    VXScriptingCalls &_calls;
};

/** The live devices. */
class VXDevicesAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.halvern.VNX2.Devices")

public:
    VXDevicesAdaptor(VXScriptingCalls &calls, QObject *parent) : QDBusAbstractAdaptor(parent), _calls(calls) {}

public Q_SLOTS:
    /** URLs. */
    QStringList List(const QDBusMessage &call);
    /** "url", "name", "phoneNumber", "plugin", and what the device tells, under "properties". */
    QVariantMap Properties(const QString &url, const QDBusMessage &call);
    QStringList Actions(const QString &url, const QDBusMessage &call);
    /** Begins an action about an object, an empty text for none. The answer is the path of its object, which has the
     *  interface com.halvern.VNX2.Action. */
    QDBusObjectPath Run(const QString &url, const QString &action, const QDBusVariant &object,
                        const QDBusMessage &call);

private:
    VXScriptingCalls &_calls;
    quint64 _lastAction = 0;
};

/** Events, their history, and triggers. */
class VXEventsAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.halvern.VNX2.Events")

public:
    VXEventsAdaptor(VXScriptingCalls &calls, QObject *parent);
    ~VXEventsAdaptor() override;

public Q_SLOTS:
    /** The events that triggers can listen to, with their names for people. */
    QVariantMap List(const QDBusMessage &call);
    /** Posts an event, an empty subtype for none; answers with its record, as the history has it. */
    QVariantMap Post(const QString &event, const QString &subtype, const QVariantMap &object, const QDBusMessage &call);
    /** The last records, oldest first. */
    QList<QVariantMap> History(uint count, const QDBusMessage &call);
    QList<QVariantMap> Triggers(const QDBusMessage &call);
    /** Whether the trigger's filter lets an object pass, and what would run; runs nothing. */
    QVariantMap TestTrigger(const QString &id, const QVariantMap &object, const QDBusMessage &call);

Q_SIGNALS:
    /** Of every event that this process posts, before triggers are looked at. */
    void Posted(const QString &event, const QString &subtype, const QVariantMap &object);

private:
    void tell(const VXNotification &notification);

    VXScriptingCalls &_calls;
};
