#include "VXDeviceRegistry.h"
#include "VXDeviceTesting.h"

#include "VXDeviceURL.h"

#include <QtCore/QThread>

#include <thread>

using namespace Qt::StringLiterals;

class VXDeviceRegistryTest : public VXDeviceHomeTest
{
protected:
    VXDeviceRegistryTest()
    {
        const auto record = [this](const QString &what) {
            return [this, what](const VXNotification &notification) {
                const auto *const device = notification.object.value<VXDevicePlugin *>();
                notifications << what + (device == nullptr ? u" none"_s : u' ' + device->url().fileName());
                threads << QThread::currentThread();
            };
        };
        VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
        center.addObserver(&context, VXDevicePluginDidAddDeviceNotification, record(u"did add"_s));
        center.addObserver(&context, VXDevicePluginWillRemoveDeviceNotification, record(u"will remove"_s));
        center.addObserver(&context, VXDevicePluginDidRemoveDeviceNotification, record(u"did remove"_s));
    }

    QObject context;
    QStringList notifications;
    QList<QThread *> threads;
};

TEST_F(VXDeviceRegistryTest, KnownDevicesAreMadeOnceAndAnnounced)
{
    EXPECT_EQ(VXDevicePlugin::deviceURLs(), std::nullopt);
    EXPECT_EQ(VXDevicePlugin::defaultDevice(), nullptr);
    startWithPhones({u"one"_s, u"two"_s});
    EXPECT_EQ(VXDevicePlugin::deviceURLs(), (QList{phone(u"one"_s), phone(u"two"_s)}));
    EXPECT_EQ(VXDevicePlugin::deviceAtURL(phone(u"stranger"_s)), nullptr) << "never added";
    EXPECT_TRUE(notifications.isEmpty());

    const VXDevicePlugin::Ptr one = VXDevicePlugin::deviceAtURL(phone(u"one"_s));
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->description(), u"Fixture Fixture vxdevice://localhost/org.phones/one"_s);
    EXPECT_EQ(VXDevicePlugin::deviceAtURL(phone(u"one"_s)), one);
    EXPECT_EQ(VXDevicePlugin::liveDevices(), QList{one});
    EXPECT_EQ(notifications, QStringList{u"did add one"_s});
    EXPECT_EQ(VXPluginEvents(), QStringList{u"one pluginDidLoad"_s});
}

TEST_F(VXDeviceRegistryTest, WhatCanNotBeMadeIsNoneAndTold)
{
    VXPluginFixture{.identifier = u"org.reactor"_s}.write(shared());
    VXPluginFixture off = phones;
    off.identifier = u"org.off"_s;
    off.write(shared());
    VXPluginFixture broken = off;
    broken.identifier = u"org.broken"_s;
    broken.dependencies = {u"org.gone"_s};
    broken.write(shared());
    VXPluginFixture other{.identifier = u"org.other"_s, .kind = u"VXDevicePlugin"_s, .code = u"WindowPlugin.so"_s};
    other.write(shared());
    startWithPhones({u"refused"_s}, {u"org.reactor"_s, u"org.broken"_s, u"org.other"_s});
    const std::pair<QString, QString> cases[] = {
        {u"org.gone"_s, u"plugin is missing or disabled for device: vxdevice://localhost/org.gone/refused"_s},
        {u"org.off"_s, u"plugin is missing or disabled for device: vxdevice://localhost/org.off/refused"_s},
        {u"org.broken"_s, u"plugin is not loaded for device: vxdevice://localhost/org.broken/refused"_s},
        {u"org.reactor"_s, u"Plugin org.reactor does not create multiple instances"_s},
        {u"org.other"_s, u"Unable to instatiate plugin org.other"_s},
        {u"org.phones"_s, u"Unable to instatiate plugin org.phones"_s},
    };
    for (const auto &[plugin, line] : cases) {
        const QUrl url = VXMakeDeviceURL({}, plugin, u"refused"_s);
        setList({VXAbsoluteString(url)});
        EXPECT_EQ(VXDevicePlugin::deviceAtURL(url), nullptr) << plugin.toStdString();
        EXPECT_EQ(log.lines(u"ERROR"_s).filter(line).size(), 1) << line.toStdString();
    }
    EXPECT_TRUE(notifications.isEmpty());
    EXPECT_TRUE(VXDevicePlugin::liveDevices().isEmpty());
}

TEST_F(VXDeviceRegistryTest, AddedDevicesComeIntoTheListOnce)
{
    startWithPhones({});
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    const QVariantList odd{u"no url"_s, 7, u"vxdevice://localhost/org.phones/two"_s, QVariantMap()};
    defaults.setObject(odd, u"devices21"_s);
    EXPECT_EQ(VXDevicePlugin::deviceURLs(), QList{phone(u"two"_s)}) << "what is no URL is left out";

    const auto added = VXDevicePlugin::hold(new VXDevicePlugin);
    added->initWithURL(phone(u"new"_s));
    VXDevicePlugin::addDevice(added);
    VXDevicePlugin::addDevice(added);
    EXPECT_EQ(VXDevicePlugin::deviceAtURL(phone(u"new"_s)), added);
    EXPECT_EQ(defaults.arrayForKey(u"devices21"_s), (odd + QVariantList{u"vxdevice://localhost/org.phones/new"_s}))
        << "but kept";
    EXPECT_EQ(notifications, (QStringList{u"did add new"_s, u"did add new"_s}));
    EXPECT_TRUE(VXPluginEvents().isEmpty()) << "loading it is up to who made it";
    defaults.setObject(u"text"_s, u"devices21"_s);
    EXPECT_EQ(VXDevicePlugin::deviceURLs(), std::nullopt);
}

TEST_F(VXDeviceRegistryTest, AddingIsOneOperationThatLeavesNothingBehindWhenItFails)
{
    startWithPhones({u"old"_s});
    VXDeviceRegistry &registry = VXDeviceRegistry::shared();
    const VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    const VXDevicePlugin::Ptr made = registry.add(phone(u"new"_s), {{u"name"_s, u"Mine"_s}});
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->name(), u"Mine"_s) << "its preferences were there when it was made";
    EXPECT_EQ(registry.device(phone(u"new"_s)), made);
    EXPECT_EQ(registry.urls(), (QList{phone(u"old"_s), phone(u"new"_s)}));
    EXPECT_EQ(notifications, QStringList{u"did add new"_s});
    EXPECT_EQ(VXPluginEvents(), QStringList{u"new pluginDidLoad"_s});

    const std::pair<QUrl, QString> refused[] = {
        {phone(u"new"_s), u"There is a device vxdevice://localhost/org.phones/new already."_s},
        {phone(u"refused"_s), u"No device vxdevice://localhost/org.phones/refused could be made."_s},
        {VXMakeDeviceURL({}, u"org.gone"_s, u"x"_s), u"No device vxdevice://localhost/org.gone/x could be made."_s},
    };
    for (const auto &[url, reason] : refused) {
        VXError error;
        const QVariant before = defaults.objectForKey(VXMakeDevicePreferenceKey(url, u"name"_s));
        EXPECT_EQ(registry.add(url, {{u"name"_s, u"Other"_s}}, &error), nullptr);
        EXPECT_EQ(error.localizedDescription(), reason);
        EXPECT_EQ(defaults.objectForKey(VXMakeDevicePreferenceKey(url, u"name"_s)), before);
    }
    EXPECT_EQ(registry.urls()->size(), 2);
}

TEST_F(VXDeviceRegistryTest, AProgramThatStaysMakesTheKnownDevicesOfEachPlugin)
{
    VXPluginFixture late = phones;
    late.identifier = u"org.late"_s;
    late.write(shared());
    startWithPhones({u"one"_s, u"refused"_s, u"two"_s});
    const QUrl waiting = VXMakeDeviceURL({}, u"org.late"_s, u"three"_s);
    setList(
        {VXAbsoluteString(phone(u"one"_s)), VXAbsoluteString(waiting), u"no url"_s, VXAbsoluteString(phone(u"two"_s))});
    VXDeviceRegistry::shared().makeKnownDevices();
    EXPECT_EQ(notifications, (QStringList{u"did add one"_s, u"did add two"_s}));
    EXPECT_TRUE(log.lines(u"ERROR"_s).isEmpty()) << "a device of a plugin that is not loaded waits";

    EXPECT_TRUE(manager().enablePluginProxy(plugin(u"org.late"_s)));
    EXPECT_TRUE(VXRunUntil([&] { return notifications.contains(u"did add three"_s); }));
    VXDeviceRegistry::shared().makeKnownDevices();
    EXPECT_EQ(notifications.size(), 3) << "each once";
}

TEST_F(VXDeviceRegistryTest, RemovedDevicesAreForgottenWithTheirPreferences)
{
    startWithPhones({u"d"_s, u"dx"_s});
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(phone(u"d"_s));
    ASSERT_NE(device, nullptr);
    device->setPreference(1, u"x"_s);
    device->setPersistentPreference(2, u"x"_s);
    defaults.setObject(3, u"org.phones.dx.x"_s);
    device.reset();
    EXPECT_EQ(VXDeviceRegistry::shared().devicesSharingPreferences(phone(u"d"_s)), QList{phone(u"dx"_s)});
    EXPECT_TRUE(VXDeviceRegistry::shared().devicesSharingPreferences(phone(u"dx"_s)).isEmpty());

    EXPECT_TRUE(VXDevicePlugin::removeDeviceAtURL(phone(u"d"_s)));
    EXPECT_EQ(VXDevicePlugin::deviceURLs(), QList{phone(u"dx"_s)});
    EXPECT_EQ(VXDevicePlugin::deviceAtURL(phone(u"d"_s)), nullptr);
    EXPECT_FALSE(defaults.objectForKey(u"org.phones.d.x"_s).isValid());
    EXPECT_FALSE(defaults.objectForKey(u"org.phones.dx.x"_s).isValid());
    EXPECT_EQ(defaults.integerForKey(u"persistent.org.phones.d.x"_s), 2);
    EXPECT_TRUE(VXDevicePlugin::removeDeviceAtURL(phone(u"dx"_s))) << "never made";
    EXPECT_EQ(VXDevicePlugin::deviceURLs(), QList<QUrl>());
    EXPECT_EQ(notifications,
              (QStringList{u"did add d"_s, u"will remove d"_s, u"did remove none"_s, u"did remove none"_s}));
    VXFlushDeferredDeletions();
    EXPECT_EQ(VXPluginEvents(), (QStringList{u"d pluginDidLoad"_s, u"d pluginWillUnload"_s, u"d destructor"_s}));
}

TEST_F(VXDeviceRegistryTest, TheDefaultIsThePreferredOrTheLastOne)
{
    startWithPhones({u"one"_s, u"two"_s});
    const auto nameOfDefault = [](const QString &key) {
        const VXDevicePlugin::Ptr device = VXDevicePlugin::defaultDeviceForKey(key);
        return device ? device->url().fileName() : QString();
    };
    EXPECT_EQ(nameOfDefault({}), u"two"_s);
    EXPECT_EQ(nameOfDefault(u"calls"_s), u"two"_s);
    VXDevicePlugin::setDefaultDeviceURL(phone(u"one"_s), u"calls"_s);
    EXPECT_EQ(nameOfDefault(u"calls"_s), u"one"_s);
    EXPECT_EQ(nameOfDefault({}), u"two"_s);
    VXDevicePlugin::removeDeviceAtURL(phone(u"one"_s));
    EXPECT_EQ(nameOfDefault(u"calls"_s), u"two"_s);
    VXDevicePlugin::setDefaultDeviceURL({}, u"calls"_s);
    EXPECT_FALSE(VXUserDefaults::standardUserDefaults().objectForKey(u"calls"_s).isValid());
    setList({});
    EXPECT_EQ(nameOfDefault({}), QString());
}

TEST_F(VXDeviceRegistryTest, AnyThreadMayAskAndDevicesLiveOnTheMainThread)
{
    QStringList identifiers;
    for (int number = 0; number < 20; ++number)
        identifiers << QString::number(number);
    startWithPhones(identifiers);
    std::atomic<int> running = 4;
    std::atomic<int> right = 0;
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker)
        workers.emplace_back([&] {
            for (const QString &identifier : identifiers) {
                const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(phone(identifier));
                if (device && device->thread() == QCoreApplication::instance()->thread() &&
                    VXDevicePlugin::deviceAtURL(phone(identifier)) == device)
                    ++right;
            }
            --running;
        });
    EXPECT_TRUE(VXRunUntil([&] {
        static_cast<void>(VXDevicePlugin::liveDevices()); // the main thread takes the lock too
        return running == 0;
    }));
    for (std::thread &worker : workers)
        worker.join();
    EXPECT_EQ(right, 80);
    EXPECT_EQ(notifications.size(), 20);
    EXPECT_EQ(VXPluginEvents(u"pluginDidLoad"_s).size(), 20);

    std::thread([&] {
        VXDevicePlugin::removeDeviceAtURL(phone(u"stranger"_s));
        EXPECT_EQ(threads.last(), QThread::currentThread()) << "told on the calling thread";
    }).join();
}

TEST_F(VXDeviceRegistryTest, AnObserverOnAThreadMayUseTheRegistryAndThrow)
{
    startWithPhones({u"one"_s, u"two"_s});
    VXNotificationCenter::defaultCenter().addObserver(
        &context, VXDevicePluginDidAddDeviceNotification, [](const VXNotification &notification) {
            if (notification.object.value<VXDevicePlugin *>()->url() == phone(u"two"_s))
                throw std::runtime_error("thrown as told");
            static_cast<void>(VXDevicePlugin::deviceAtURL(phone(u"two"_s)));
        });
    std::atomic<bool> isDone = false;
    std::thread worker([&] {
        static_cast<void>(VXDevicePlugin::deviceAtURL(phone(u"one"_s)));
        isDone = true;
    });
    EXPECT_TRUE(VXRunUntil([&] { return isDone.load(); }));
    worker.join();
    EXPECT_EQ(VXDevicePlugin::liveDevices().size(), 2) << "the lock is free";
}
