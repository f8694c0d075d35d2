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

// What methods answer stands in their last parameter: the introspection takes its name from there.

/** The application itself: whatever a specifier names. */
class VXApplicationAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.halvern.VNX2.Application")

public:
    VXApplicationAdaptor(VXScriptingCalls &calls, QObject *parent) : QDBusAbstractAdaptor(parent), _calls(calls) {}

public Q_SLOTS:
    /** As "version", "devices[0].localizedDescription", "as_plugins.as_name". */
    void Get(const QString &specifier, const QDBusMessage &call, QDBusVariant &value);

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
    void LookUp(const QString &phonebookString, const QDBusMessage &call, QVariantMap &contact);
    /** Phonebook strings that what was typed may become. */
    void Complete(const QString &typed, uint properties, uint limit, const QDBusMessage &call,
                  QStringList &phonebookStrings);
    /** The parts of a phonebook string, known or not. */
    void Entry(const QString &phonebookString, const QDBusMessage &call, QVariantMap &parts);
    /** All phonebook strings, up to a limit. */
    void List(uint limit, const QDBusMessage &call, QStringList &phonebookStrings);

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
    void List(const QDBusMessage &call, QStringList &urls);
    /** "url", "name", "phoneNumber", "plugin", and what the device tells, under "properties". */
    void Properties(const QString &url, const QDBusMessage &call, QVariantMap &device);
    void Actions(const QString &url, const QDBusMessage &call, QStringList &names);
    /** Begins an action about an object, an empty text for none. The answer is the path of its object, which has the
     *  interface com.halvern.VNX2.Action. */
    void Run(const QString &url, const QString &action, const QDBusVariant &object, const QDBusMessage &call,
             QDBusObjectPath &actionObject);

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
    void List(const QDBusMessage &call, QVariantMap &names);
    /** Posts an event, an empty subtype for none; answers with its record, as the history has it. */
    void Post(const QString &event, const QString &subtype, const QVariantMap &object, const QDBusMessage &call,
              QVariantMap &record);
    /** The last records, oldest first. */
    void History(uint count, const QDBusMessage &call, QList<QVariantMap> &records);
    void Triggers(const QDBusMessage &call, QList<QVariantMap> &triggers);
    /** Whether the trigger's filter lets an object pass, and what would run; runs nothing. */
    void TestTrigger(const QString &id, const QVariantMap &object, const QDBusMessage &call, QVariantMap &result);

Q_SIGNALS:
    /** Of every event that this process posts, before triggers are looked at. */
    void Posted(const QString &event, const QString &subtype, const QVariantMap &object);

private:
    void tell(const VXNotification &notification);

    VXScriptingCalls &_calls;
};
