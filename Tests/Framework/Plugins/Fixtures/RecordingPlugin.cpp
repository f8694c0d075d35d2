#include "FixtureGreeter.h"
#include "VXApplication.h"
#include "VXDevicePlugin.h"
#include "VXException.h"
#include "VXInterfacePlugin.h"
#include "VXPhonebookPlugin.h"
#include "VXPluginManager.h"
#include "VXPrincipalClass.h"
#include "VXReactorPlugin.h"

#include <QtCore/QCoreApplication>

#include <csignal>
#include <stdexcept>
#include <unistd.h>

using namespace Qt::StringLiterals;

#ifndef FIXTURE_BASE
#define FIXTURE_BASE VXReactorPlugin
#endif

/**
 * A plugin that does what keys of its Info.plist tell, and records "IDENTIFIER OPERATION" in the property
 * "VXPluginEvents" of the application when it enters an operation: constructor, pluginDidLoad, pluginShouldUnload,
 * pluginWillUnload, initWithObject, destructor.
 *     FixtureThrowsIn  the operation that throws
 *     FixtureThrows    what it throws: "VXException" (default), "std::exception" or "number"
 *     FixtureEndsIn    the operation in which the process dies
 *     FixtureSignal    and the signal that does it; SIGABRT without
 *     FixtureDoes      dictionary of what it does in operations: "disable" (itself), "quit", "agree" or "refuse" (replies
 *                      to pluginShouldUnload), "exit" and "_exit" (end the process with 0)
 *     FixtureReply     the answer of pluginShouldUnload; 1 without
 *     FixtureName      its own name; the bundle's without
 *     FixtureLeaks     array of what outlives it: "observer", "instance", and of that one "context" and "timer"
 */
class RecordingPlugin : public FIXTURE_BASE, public FixtureGreeter
{
    Q_OBJECT

public:
    Q_INVOKABLE RecordingPlugin() : _identifier(identifier()), _info(bundle()->infoDictionary())
    {
        enter(u"constructor"_s);
    }
    ~RecordingPlugin() override { record(u"destructor"_s); }

    QString name() const override { return text(u"FixtureName"_s, VXPlugin::name()); }
    QString greeting() const override { return u"Greetings from "_s + _identifier; }

    void pluginDidLoad() override
    {
        enter(u"pluginDidLoad"_s);
        leak(_info.value(u"FixtureLeaks"_s).toStringList());
    }
    void pluginWillUnload() override { enter(u"pluginWillUnload"_s); }
    int pluginShouldUnload() override
    {
        enter(u"pluginShouldUnload"_s);
        return _info.value(u"FixtureReply"_s, 1).toInt();
    }

    /** Refuses objects that are no texts. */
    Q_INVOKABLE bool initWithObject(const QVariant &object)
    {
        enter(u"initWithObject"_s);
        setObjectName(object.toString());
        return object.metaType() == QMetaType::fromType<QString>();
    }

    Q_INVOKABLE int sum(int a, int b) { return a + b; }
    Q_INVOKABLE void fail() { throw std::runtime_error("failed as told"); }

private:
    QString text(const QString &key, const QString &value) const { return _info.value(key, value).toString(); }

    void record(const QString &operation) const
    {
        QCoreApplication *const application = QCoreApplication::instance();
        if (application == nullptr)
            return;
        QStringList events = application->property("VXPluginEvents").toStringList();
        events.append(_identifier + u' ' + operation);
        application->setProperty("VXPluginEvents", events);
    }

    void enter(const QString &operation) const
    {
        record(operation);
        act(_info.value(u"FixtureDoes"_s).toMap().value(operation).toString());
        if (text(u"FixtureEndsIn"_s, {}) == operation)
            ::raise(_info.value(u"FixtureSignal"_s, SIGABRT).toInt());
        if (text(u"FixtureThrowsIn"_s, {}) != operation)
            return;
        const QString what = text(u"FixtureThrows"_s, u"VXException"_s);
        if (what == u"number"_s)
            throw 42;
        if (what == u"std::exception"_s)
            throw std::runtime_error("thrown as told");
        throw VXException(u"FixtureException"_s, u"thrown as told"_s);
    }

    void act(const QString &what) const
    {
        VXPluginManager &manager = VXPluginManager::sharedPluginManager();
        if (what == u"disable"_s)
            manager.disablePluginProxy(manager.pluginWithIdentifier(_identifier));
        else if (what == u"quit"_s)
            VXApplication::sharedApplication().terminate();
        else if (what == u"agree"_s || what == u"refuse"_s)
            manager.replyToPluginShouldUnload(what == u"agree"_s, _identifier);
        else if (what == u"exit"_s)
            std::exit(0);
        else if (what == u"_exit"_s)
            ::_exit(0);
    }

    static void leak(const QStringList &things)
    {
        if (things.contains(u"observer"_s))
            VXNotificationCenter::defaultCenter().addObserver(nullptr, VXPluginDidLoadNotification,
                                                              [](const VXNotification &) {});
        if (things.isEmpty() || things == QStringList{u"observer"_s})
            return;
        static RecordingPlugin *leaked = nullptr;
        if (leaked == nullptr)
            leaked = new RecordingPlugin;
        if (things.contains(u"timer"_s))
            leaked->startTimer(60'000);
        if (things.contains(u"context"_s))
            VXNotificationCenter::defaultCenter().addObserver(leaked, VXPluginWillUnloadNotification,
                                                              [](const VXNotification &) {});
    }

    const QString _identifier;
    const QVariantMap _info;
};

VX_PRINCIPAL_CLASS(RecordingPlugin)

#include "RecordingPlugin.moc"
