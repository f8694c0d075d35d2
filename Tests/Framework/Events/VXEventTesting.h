#pragma once

#include "FrameworkTestsPaths.h"
#include "VXDataManager.h"
#include "VXEventManager.h"
#include "VXManagedObjectContext.h"
#include "VXPluginManagerTesting.h"
#include "VXSmartFilter.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <filesystem>

/** A trigger to be stored for a test. */
struct VXTriggerFixture
{
    struct Reactor
    {
        QString identifier;
        QVariantMap options = {};
        int index = 0;
    };

    QString event = QStringLiteral("ping");
    QList<Reactor> reactors = {};
    QString filter = {}; // the text of a predicate, which need not be one; null: no filter
    QString name = {};
    int index = 0;
    bool useFilter = true;
    bool isEnabled = true;
};

/** A test of events with the plugin that keeps triggers, and plugins that react. */
class VXEventTest : public VXPluginManagerHomeTest
{
protected:
    static inline const QString reactor = QStringLiteral("test.reactor");

    VXEventTest()
    {
        VXNotificationCenter::defaultCenter().addObserver(
            &_observer, VXNotificationName(QStringLiteral("FixtureReaction")),
            [this](const VXNotification &notification) { note(notification.object.toMap()); });
    }

    /** Writes a plugin of Fixtures/ReactingPlugin.cpp, or of the kind and code given. */
    void writeReactor(const QString &identifier, const QVariantMap &info = {}) const
    {
        VXPluginFixture{.identifier = identifier, .info = info, .code = QStringLiteral("ReactingPlugin.so")}.write(
            shared());
    }
    void writeTriggersPlugin() const
    {
        const std::filesystem::path bundle = VORNIX_TRIGGERS_PLUGIN;
        std::filesystem::create_directories(shared().toStdString());
        std::filesystem::copy(bundle, shared().toStdString() / bundle.filename(),
                              std::filesystem::copy_options::recursive);
    }
    /** With the plugin that keeps triggers and one reactor, and the plugins that are enabled besides. */
    void start(const QStringList &enabledPlugins = {}, const QVariantMap &reactorInfo = {})
    {
        writeTriggersPlugin();
        writeReactor(reactor, reactorInfo);
        startWith(QStringList{reactor} + enabledPlugins);
    }

    static VXPersistentStoreCoordinator::Ptr triggers()
    {
        return VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(QStringLiteral("triggers"));
    }
    static void add(const QList<VXTriggerFixture> &fixtures)
    {
        VXManagedObjectContext context(triggers());
        for (const VXTriggerFixture &fixture : fixtures)
            insert(context, fixture);
        VXError error;
        EXPECT_TRUE(context.save(&error)) << error.description().toStdString();
    }

    static VXEventRecord post(const QString &name = QStringLiteral("ping"), const QVariant &object = {})
    {
        return VXEventManager::sharedEventManager().recordByPostingEventWithName(name, {}, object);
    }

    QList<QVariantMap> reactions() const
    {
        const VXMutexLocker lock(_lock);
        return _reactions;
    }
    /** The option "n" of each reaction, in order. */
    QList<int> numbers() const
    {
        QList<int> numbers;
        for (const QVariantMap &reaction : reactions())
            numbers.append(reaction[QStringLiteral("options")].toMap()[QStringLiteral("n")].toInt());
        return numbers;
    }
    static VXTriggerFixture::Reactor numbered(int number, int index = 0)
    {
        return {reactor, {{QStringLiteral("n"), number}}, index};
    }

private:
    static void insert(VXManagedObjectContext &context, const VXTriggerFixture &fixture)
    {
        const auto set = [](const VXManagedObjectPtr &object, const char *key, const QVariant &value) {
            object->setValueForKey(value, QString::fromLatin1(key));
        };
        const VXManagedObjectPtr trigger = context.insertNewObject(QStringLiteral("VXTrigger"));
        set(trigger, "eventName", fixture.event);
        set(trigger, "index", fixture.index);
        set(trigger, "useFilter", fixture.useFilter);
        set(trigger, "isEnabled", fixture.isEnabled);
        set(trigger, "userName", fixture.name);
        if (!fixture.filter.isNull()) {
            const VXManagedObjectPtr filter = context.insertNewObject(QStringLiteral("VXTriggerFilter"));
            set(filter, "predicateText", fixture.filter);
            set(trigger, "filter", QVariant::fromValue(filter));
        }
        for (const VXTriggerFixture::Reactor &each : fixture.reactors) {
            const VXManagedObjectPtr record = context.insertNewObject(QStringLiteral("VXReactorRecord"));
            set(record, "bundleIdentifier", each.identifier);
            set(record, "options", each.options);
            set(record, "index", each.index);
            set(record, "trigger", QVariant::fromValue(trigger));
        }
    }

    void note(const QVariantMap &reaction)
    {
        const VXMutexLocker lock(_lock);
        _reactions.append(reaction);
    }

    mutable VXMutex _lock;
    QList<QVariantMap> _reactions VX_GUARDED_BY(_lock);
    QObject _observer; // the last one: it ends the observation
};
