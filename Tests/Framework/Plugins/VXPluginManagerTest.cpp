#include "VXErrorDomain.h"
#include "VXNotificationCenter.h"
#include "VXPluginKind.h"
#include "VXPluginManagerTesting.h"

#include <QtCore/QDir>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::IsEmpty, testing::SizeIs, testing::UnorderedElementsAre;

using VXPluginManagerTest = VXPluginManagerHomeTest;

TEST_F(VXPluginManagerTest, LoadsEnabledPluginsBuiltInOnesAndDependenciesFirst)
{
    write({u"a: z"_s, u"b"_s, u"off"_s, u"z"_s});
    for (const QString &unnamed : {u"n.unnamed"_s, u"m.unnamed"_s})
        VXPluginFixture{.identifier = unnamed, .name = {}}.write(shared());
    const QString broken = u"c.broken"_s;
    VXPluginFixture{.identifier = broken, .info = {{u"FixtureThrowsIn"_s, u"constructor"_s}}}.write(shared());

    QStringList announced;
    VXNotificationCenter::defaultCenter().addObserver(
        &manager(), VXPluginDidLoadNotification, [&](const VXNotification &notification) {
            announced.append(notification.object.value<VXPlugin *>()->identifier());
            EXPECT_TRUE(isLoaded(u"b"_s)); // announcements come once all are loaded
        });
    startWith({u"b"_s, u"a"_s, broken, u"z"_s, u"unknown"_s});
    EXPECT_THAT(VXPluginEvents(u"constructor"_s),
                ElementsAre(u"m.unnamed"_s, u"n.unnamed"_s, u"z"_s, u"a"_s, u"b"_s, broken));
    EXPECT_THAT(announced, ElementsAre(u"m.unnamed"_s, u"n.unnamed"_s, u"z"_s, u"a"_s, u"b"_s));
    EXPECT_EQ(log.count(u"-[VXPluginManager startup] Could not load: c.broken"_s), 1);
    EXPECT_TRUE(manager().problemOfPlugin(broken).contains(u"thrown as told"_s));
    EXPECT_FALSE(isLoaded(u"off"_s) || isLoaded(broken));

    EXPECT_THAT(manager().allPlugins(), SizeIs(7));
    EXPECT_THAT(manager().enabledPlugins(), SizeIs(6));
}

TEST_F(VXPluginManagerTest, AnUnloadedPluginIsNotAnnounced)
{
    write({u"parent"_s});
    const QString children = shared() + u"/parent.vxplugin/Contents/PlugIns"_s;
    VXPluginFixture{.identifier = u"child"_s, .info = {{u"FixtureThrowsIn"_s, u"constructor"_s}}}.write(children);
    startWith({u"parent"_s});
    EXPECT_THAT(VXPluginEvents(),
                ElementsAre(u"parent constructor"_s, u"child constructor"_s, u"parent pluginWillUnload"_s));
}

TEST_F(VXPluginManagerTest, SearchesTheApplicationAndTheEnvironmentsFoldersBeforeTheSharedOne)
{
    QDir().mkpath(path(u"App/Contents"_s));
    VXBundle::setMainBundle(VXBundle::bundleWithPath(path(u"App"_s)));
    qputenv("VORNIX_PLUGIN_PATH", (path(u"one"_s) + "::"_L1 + path(u"two/../two"_s) + u':' + path(u"one"_s)).toUtf8());
    const QStringList folders{path(u"App/Contents/PlugIns"_s), path(u"one"_s), path(u"two"_s), shared()};
    for (const QString &folder : folders)
        VXPluginFixture{.identifier = u"p"_s, .version = folder == shared() ? u"2000"_s : u"2001"_s}.write(folder);
    startWith({});

    QStringList searched = manager().pluginFolderPaths();
    EXPECT_TRUE(searched.takeAt(1).endsWith(u"/Vornix.framework/Resources"_s));
    EXPECT_EQ(searched, folders);
    EXPECT_EQ(plugin(u"p"_s)->bundle()->bundlePath(), path(u"two/p.vxplugin"_s));
    EXPECT_THAT(manager().choiceForPlugin(u"p"_s)->passedOver, SizeIs(3));
    EXPECT_FALSE(manager().choiceForPlugin(u"q"_s));
    VXBundle::setMainBundle(nullptr);
}

TEST_F(VXPluginManagerTest, SafeModeLoadsOnlyBuiltInPluginsThatShip)
{
    QDir().mkpath(path(u"App/Contents"_s));
    VXBundle::setMainBundle(VXBundle::bundleWithPath(path(u"App"_s)));
    write({u"a"_s, u"off"_s});
    VXPluginFixture{.identifier = u"unnamed"_s, .name = {}}.write(shared()); // counts as built in
    VXPluginFixture{.identifier = u"ships"_s, .name = {}}.write(path(u"App/Contents/PlugIns"_s));
    VXPluginFixture{.identifier = u"ships.too"_s, .name = {}, .dependencies = {u"a"_s}}.write(
        path(u"App/Contents/PlugIns"_s));
    manager().setSafeMode(true);
    startWith({u"a"_s});
    EXPECT_THAT(VXPluginEvents(u"constructor"_s), ElementsAre(u"ships"_s)); // the other needs one left out
    EXPECT_EQ(manager().problemOfPlugin(u"a"_s), u"Safe mode loads built-in plugins only."_s);
    EXPECT_EQ(manager().problemOfPlugin(u"unnamed"_s), u"Safe mode loads only plugins that ship with the program."_s);
    EXPECT_TRUE(manager().problemOfPlugin(u"off"_s).isNull());
    EXPECT_TRUE(manager().enablePluginProxy(plugin(u"off"_s))); // what the user asks for now
    EXPECT_EQ(enabled(), (QStringList{u"a"_s, u"off"_s}));
    VXBundle::setMainBundle(nullptr);
}

TEST_F(VXPluginManagerTest, ABundleIsAddedWithAllInsideItOrNotAtAll)
{
    const QString good = VXPluginFixture{.identifier = u"good"_s}.write(path());
    VXPluginFixture{.identifier = u"good.child"_s}.write(good + u"/Contents/PlugIns"_s);
    const QString bad = VXPluginFixture{.identifier = u"bad"_s}.write(path());
    VXPluginFixture{.identifier = u"bad.child"_s}.write(bad + u"/Contents/PlugIns"_s);
    const QString worst = VXPluginFixture{.identifier = {}, .code = {}}.write(
        bad + u"/Contents/PlugIns/bad.child.vxplugin/Contents/PlugIns"_s, u"Worst"_s);

    VXPluginProxy *const proxy = manager().addPluginForBundleAtPath(good);
    ASSERT_NE(proxy, nullptr);
    EXPECT_THAT(proxy->childProxies(), ElementsAre(plugin(u"good.child"_s)));
    EXPECT_EQ(plugin(u"good.child"_s)->parentProxy(), proxy);
    EXPECT_EQ(manager().addPluginForBundleAtPath(good), nullptr); // there already: nothing to complain of
    EXPECT_THAT(user->errors(), IsEmpty());

    EXPECT_EQ(manager().addPluginForBundleAtPath(bad), nullptr);
    EXPECT_EQ(manager().addPluginForBundleAtPath(path(u"none.vxplugin"_s)), nullptr);
    EXPECT_THAT(manager().allPlugins(), SizeIs(2));
    ASSERT_THAT(user->errors(), SizeIs(2));
    for (const VXError &error : user->errors()) {
        EXPECT_EQ(error.domain(), VXErrorDomain);
        EXPECT_EQ(error.code(), 1);
        EXPECT_EQ(error.localizedDescription(), u"Unable to load plugin."_s);
    }
    EXPECT_EQ(user->errors()[0].filePath(), worst);
    EXPECT_EQ(user->errors()[1].filePath(), path(u"none.vxplugin"_s));

    const QString twin = VXPluginFixture{.identifier = u"twin"_s}.write(path());
    VXPluginFixture{.identifier = u"good.child"_s}.write(twin + u"/Contents/PlugIns"_s);
    EXPECT_EQ(manager().addPluginForBundleAtPath(twin), nullptr);
    EXPECT_EQ(user->errors().back().localizedRecoverySuggestion(),
              u"There is another plugin with the identifier \"good.child\": "_s +
                  plugin(u"good.child"_s)->bundle()->bundlePath());
}

TEST_F(VXPluginManagerTest, ManyChangesAreAnnouncedOnceWhenIdle)
{
    int changes = 0;
    VXNotificationCenter::defaultCenter().addObserver(&manager(), VXPluginsDidChangeNotification,
                                                      [&](const VXNotification &) { ++changes; });
    write({u"a"_s, u"b"_s});
    startWith({});
    EXPECT_EQ(changes, 0);
    idle();
    EXPECT_EQ(changes, 1);
    manager().addPluginForBundleAtPath(VXPluginFixture{.identifier = u"c"_s}.write(path()));
    idle();
    EXPECT_EQ(changes, 2);
}

TEST_F(VXPluginManagerTest, FindsEnabledPluginsByKindAndInformation)
{
    VXPluginFixture{.identifier = u"data"_s, .kind = VXPluginKind::Data}.write(shared());
    VXPluginFixture{.identifier = u"r1"_s, .info = {{u"VXPostsEvents"_s, false}}}.write(shared());
    VXPluginFixture{.identifier = u"r2"_s, .info = {{u"VXPostsEvents"_s, 3}}}.write(shared());
    startWith({u"data"_s, u"r1"_s});
    EXPECT_THAT(manager().dataPlugins(), ElementsAre(plugin(u"data"_s)));
    EXPECT_THAT(manager().reactorPlugins(), ElementsAre(plugin(u"r1"_s)));
    EXPECT_THAT(manager().exporterPlugins(), IsEmpty());
    EXPECT_THAT(manager().eventPostingPlugins(), ElementsAre(plugin(u"r1"_s)));

    // Whoever changes the set of enabled plugins, the manager or somebody else.
    ASSERT_TRUE(manager().enablePluginProxy(plugin(u"r2"_s)));
    EXPECT_THAT(manager().reactorPlugins(), UnorderedElementsAre(plugin(u"r1"_s), plugin(u"r2"_s)));
    EXPECT_THAT(manager().pluginsWithInfoDictionaryKey(u"VXPostsEvents"_s, 3), ElementsAre(plugin(u"r2"_s)));
    VXUserDefaults::standardUserDefaults().setObject(QStringList{u"r2"_s}, u"plugins"_s);
    EXPECT_THAT(manager().reactorPlugins(), ElementsAre(plugin(u"r2"_s)));
    EXPECT_EQ(manager().pluginWithIdentifier(u"none"_s), nullptr);
}

TEST_F(VXPluginManagerTest, EnablingLoadsAndIsAnnouncedOrLeavesNoTrace)
{
    write({u"a"_s, u"b: missing"_s});
    VXPluginFixture{.identifier = u"a.child"_s}.write(shared() + u"/a.vxplugin/Contents/PlugIns"_s);
    startWith({u"other"_s});
    QList<VXPluginProxy *> announced;
    VXNotificationCenter::defaultCenter().addObserver(
        &manager(), VXPluginDidEnableNotification,
        [&](const VXNotification &notification) { announced.append(notification.object.value<VXPluginProxy *>()); });
    EXPECT_TRUE(manager().enablePluginProxy(plugin(u"a"_s)));
    EXPECT_TRUE(manager().enablePluginProxy(plugin(u"a"_s)));
    EXPECT_FALSE(manager().enablePluginProxy(plugin(u"b"_s)));
    EXPECT_THAT(enabled(), UnorderedElementsAre(u"other"_s, u"a"_s));
    EXPECT_THAT(VXPluginEvents(), ElementsAre(u"a constructor"_s, u"a pluginDidLoad"_s, u"a.child constructor"_s,
                                              u"a.child pluginDidLoad"_s));
    EXPECT_THAT(announced, IsEmpty());
    idle();
    EXPECT_THAT(announced, ElementsAre(plugin(u"a"_s)));
    EXPECT_EQ(VXReasonOfAssertion([] { manager().enablePluginProxy(plugin(u"a.child"_s)); }),
              u"Plugin is not a root plugin: a.child"_s);
}

TEST_F(VXPluginManagerTest, WhatFailsHalfwayLeavesNothingHalfLoaded)
{
    const QVariantMap throws{{u"FixtureThrowsIn"_s, u"constructor"_s}};
    VXPluginFixture{.identifier = u"a"_s, .dependencies = {u"b"_s}, .info = throws}.write(shared());
    write({u"b: a"_s, u"c: b"_s});
    for (const QString &operation : {u"constructor"_s, u"pluginDidLoad"_s})
        VXPluginFixture{.identifier = u"self."_s + operation,
                        .info = {{u"FixtureDoes"_s, QVariantMap{{operation, u"disable"_s}}}}}
            .write(shared());
    startWith({u"a"_s, u"b"_s, u"c"_s});
    for (const QString &identifier : {u"a"_s, u"b"_s, u"c"_s}) {
        EXPECT_FALSE(isLoaded(identifier)) << identifier.toStdString();
        EXPECT_THAT(plugin(identifier)->dependantPlugins(), IsEmpty());
    }
    EXPECT_THAT(plugin(u"c"_s)->loadError().toStdString(), testing::StartsWith("The plugin b, which it needs, could"));
    EXPECT_THAT(plugin(u"b"_s)->loadError().toStdString(), testing::HasSubstr("thrown as told"));

    for (const QString &identifier : {u"self.constructor"_s, u"self.pluginDidLoad"_s}) {
        EXPECT_FALSE(manager().enablePluginProxy(plugin(identifier)));
        EXPECT_FALSE(isLoaded(identifier) || plugin(identifier)->singleton());
        EXPECT_FALSE(enabled().contains(identifier));
    }
}

TEST_F(VXPluginManagerTest, OffersURLsToThePluginsThatMayKnowThem)
{
    const auto writeOpener = [this](const QString &identifier, const QString &kind, const QString &start) {
        VXPluginFixture{.identifier = identifier,
                        .kind = kind,
                        .info = start.isNull() ? QVariantMap() : QVariantMap{{u"FixtureOpens"_s, start}},
                        .code = u"AnsweringPlugin.so"_s}
            .write(shared());
    };
    writeOpener(u"1.none"_s, VXPluginKind::Interface, {});
    writeOpener(u"2.book"_s, VXPluginKind::Interface, u"vxbook:"_s);
    writeOpener(u"3.all"_s, VXPluginKind::Interface, u""_s);
    writeOpener(u"4.off"_s, VXPluginKind::Interface, u"other:"_s);
    startWith({u"1.none"_s, u"2.book"_s, u"3.all"_s});
    VXApplication &application = VXApplication::sharedApplication();
    EXPECT_EQ(application.openURLString(u"vxbook://localhost/1"_s), u"2.book"_s);
    EXPECT_EQ(application.openURLString(u"callto:1"_s), u"3.all"_s); // though another one threw
    EXPECT_EQ(log.count(u"not my URL"_s), 1);
    EXPECT_FALSE(application.openURLString(u"x-coredata://1"_s).isValid()); // of data plugins there is none
    manager().disablePluginProxy(plugin(u"3.all"_s));
    EXPECT_FALSE(application.openURLString(u"callto:1"_s).isValid());
}

TEST_F(VXPluginManagerTest, InstancesOfPluginsComeAndGo)
{
    VXPluginFixture{.identifier = u"phone"_s, .kind = VXPluginKind::Device}.write(shared());
    startWith({u"phone"_s});
    VXPluginProxy *const proxy = plugin(u"phone"_s);
    VXPluginProxy::Instance made = proxy->instantiateWithSelector("initWithObject", u"url"_s);
    ASSERT_TRUE(made);
    manager().loadPluginInstance(made.get());
    VXPlugin *const object = made.get();
    made.reset(); // now the proxy alone holds it
    manager().unloadPluginInstance(object);
    EXPECT_THAT(proxy->instances(), IsEmpty());
    VXFlushDeferredDeletions();
    EXPECT_THAT(VXPluginEvents(),
                ElementsAre(u"phone constructor"_s, u"phone initWithObject"_s, u"phone pluginDidLoad"_s,
                            u"phone pluginWillUnload"_s, u"phone destructor"_s));
}
