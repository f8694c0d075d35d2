#include "VXPluginManager.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXNotificationCenter.h"
#include "VXPluginKind.h"
#include "VXPluginManagerTesting.h"
#include "VXPluginScanner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdlib>
#include <sys/file.h>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class VXPluginManagerTest : public VXPluginManagerHomeTest
{
protected:
    /** Writes plugins, each named "identifier" or "identifier: dependency dependency". */
    void write(const QStringList &descriptions) const
    {
        for (const QString &description : descriptions)
            VXPluginFixture{.identifier = description.section(u':', 0, 0),
                            .name = description.section(u':', 0, 0).toUpper(),
                            .dependencies = description.section(u':', 1).split(u' ', Qt::SkipEmptyParts)}
                .write(shared());
    }
    static VXPlugin &instance(const QString &identifier) { return *plugin(identifier)->singleton(); }
    static void setReply(const QString &identifier, int reply)
    {
        plugin(identifier)->performSelector("setReply", {reply});
    }
    QStringList informativeTexts() const
    {
        QStringList texts;
        for (const VXAlert &alert : user->alerts())
            texts.append(alert.informativeText);
        return texts;
    }
};

// -- Start-up

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

// -- Adding bundles

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

// -- Enabling and disabling

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
    try {
        manager().enablePluginProxy(plugin(u"a.child"_s));
        ADD_FAILURE() << "a child was enabled";
    } catch (const VXAssertionException &exception) {
        EXPECT_EQ(exception.reason(), u"Plugin is not a root plugin: a.child"_s);
    }
}

TEST_F(VXPluginManagerTest, DisablingAsksOncePerDependantRootAndUnloadsDependantsFirst)
{
    write({u"base"_s, u"mid: base"_s, u"top: mid base"_s, u"bundle"_s, u"other"_s});
    const QString children = shared() + u"/bundle.vxplugin/Contents/PlugIns"_s;
    for (const QString &child : {u"child.1"_s, u"child.2"_s})
        VXPluginFixture{.identifier = child, .dependencies = {u"base"_s}}.write(children);
    const QStringList all{u"base"_s, u"bundle"_s, u"mid"_s, u"other"_s, u"top"_s};
    startWith(all);

    // The second answer is a refusal.
    user->answerAlert(VXAlertButton::Default);
    user->answerAlert(VXAlertButton::Alternate);
    manager().disablePluginProxy(plugin(u"base"_s));
    EXPECT_EQ(user->unusedAnswers(), 0U);
    EXPECT_THAT(VXPluginEvents(u"pluginWillUnload"_s), IsEmpty());
    EXPECT_EQ(enabled(), all);
    manager().replyToPluginShouldUnload(true, u"top"_s); // the stack is empty: nothing comes of it
    EXPECT_TRUE(isLoaded(u"top"_s));

    const auto asked = qsizetype(user->alerts().size());
    for (int root = 0; root < 3; ++root)
        user->answerAlert(VXAlertButton::Default);
    manager().disablePluginProxy(plugin(u"base"_s));
    EXPECT_EQ(user->unusedAnswers(), 0U);
    EXPECT_THAT(informativeTexts().mid(asked),
                UnorderedElementsAre(u"BUNDLE requires the plugin BASE and should be disabled first."_s,
                                     u"MID requires the plugin BASE and should be disabled first."_s,
                                     u"TOP requires the plugin MID and should be disabled first."_s));
    EXPECT_EQ(user->alerts().back().message, u"Disable dependent plugin?"_s);
    const QStringList unloaded = VXPluginEvents(u"pluginWillUnload"_s);
    EXPECT_THAT(unloaded, UnorderedElementsAre(u"child.1"_s, u"child.2"_s, u"bundle"_s, u"top"_s, u"mid"_s, u"base"_s));
    EXPECT_LT(unloaded.indexOf(u"top"_s), unloaded.indexOf(u"mid"_s));
    EXPECT_LT(unloaded.indexOf(u"child.2"_s), unloaded.indexOf(u"bundle"_s));
    EXPECT_EQ(unloaded.last(), u"base"_s);
    EXPECT_EQ(enabled(), QStringList{u"other"_s});
    EXPECT_EQ(log.count(u"still has dependants"_s), 0);
}

TEST_F(VXPluginManagerTest, PluginsThatDependOnEachOtherAreUnloadedTogether)
{
    write({u"a: b"_s, u"b: a"_s, u"parent: parent.lib"_s});
    const QString children = shared() + u"/parent.vxplugin/Contents/PlugIns"_s;
    VXPluginFixture{.identifier = u"parent.lib"_s}.write(children);
    VXPluginFixture{.identifier = u"parent.part"_s, .dependencies = {u"parent"_s}}.write(children);
    startWith({u"a"_s, u"b"_s, u"parent"_s});
    user->answerAlert(VXAlertButton::Default);
    manager().disablePluginProxy(plugin(u"a"_s));
    manager().disablePluginProxy(plugin(u"parent"_s)); // asks nothing: all of it is one plugin
    EXPECT_THAT(VXPluginEvents(u"pluginWillUnload"_s),
                ElementsAre(u"b"_s, u"a"_s, u"parent.part"_s, u"parent"_s, u"parent.lib"_s));
    EXPECT_THAT(enabled(), IsEmpty());
}

TEST_F(VXPluginManagerTest, APluginThatIsNotLoadedCanBeDisabledAndABuiltInOneNot)
{
    write({u"broken: missing"_s});
    VXPluginFixture{.identifier = u"unnamed"_s, .name = {}}.write(shared());
    startWith({u"broken"_s});
    manager().disablePluginProxy(plugin(u"broken"_s));
    EXPECT_THAT(enabled(), IsEmpty());
    manager().disablePluginProxy(plugin(u"unnamed"_s));
    EXPECT_TRUE(isLoaded(u"unnamed"_s));
    EXPECT_EQ(log.count(u"A built-in plugin can not be disabled: unnamed"_s), 1);
}

TEST_F(VXPluginManagerTest, APluginMayTakeItsTimeButNotRefuseToBeDisabled)
{
    for (const auto &[identifier, reply] : {std::pair{u"never"_s, 0}, std::pair{u"later"_s, 2}})
        VXPluginFixture{.identifier = identifier, .info = {{u"FixtureReply"_s, reply}}, .code = u"AnsweringPlugin.so"_s}
            .write(shared());
    startWith({u"later"_s, u"never"_s});
    manager().disablePluginProxy(plugin(u"never"_s));
    EXPECT_FALSE(isLoaded(u"never"_s));

    manager().disablePluginProxy(plugin(u"later"_s));
    EXPECT_TRUE(isLoaded(u"later"_s));
    instance(u"later"_s).replyToPluginShouldUnload(true); // asked again, it still wants to wait
    EXPECT_TRUE(isLoaded(u"later"_s));
    instance(u"later"_s).replyToPluginShouldUnload(false);
    setReply(u"later"_s, VXUnloadNow);
    instance(u"later"_s).replyToPluginShouldUnload(true); // too late: that was given up
    EXPECT_TRUE(isLoaded(u"later"_s));

    setReply(u"later"_s, VXUnloadLater);
    manager().disablePluginProxy(plugin(u"later"_s));
    setReply(u"later"_s, VXUnloadNow);
    instance(u"later"_s).replyToPluginShouldUnload(true);
    EXPECT_FALSE(isLoaded(u"later"_s));
    EXPECT_THAT(enabled(), IsEmpty());
}

// -- Quitting

TEST_F(VXPluginManagerTest, DisablingTakesAlongWhatWasLoadedWhileAPluginWantedTime)
{
    VXPluginFixture{.identifier = u"later"_s, .code = u"AnsweringPlugin.so"_s}.write(shared());
    write({u"needs: later"_s});
    startWith({u"later"_s});
    setReply(u"later"_s, VXUnloadLater);
    manager().disablePluginProxy(plugin(u"later"_s));
    ASSERT_TRUE(manager().enablePluginProxy(plugin(u"needs"_s)));
    setReply(u"later"_s, VXUnloadNow);
    user->answerAlert(VXAlertButton::Default);
    instance(u"later"_s).replyToPluginShouldUnload(true);
    EXPECT_FALSE(isLoaded(u"later"_s) || isLoaded(u"needs"_s));
    EXPECT_THAT(enabled(), IsEmpty());
    EXPECT_EQ(log.count(u"still has dependants"_s), 0);
}

TEST_F(VXPluginManagerTest, DisablingTakesAlongPartsThatAreLoadedWithoutTheWhole)
{
    const QString whole = VXPluginFixture{.identifier = u"whole"_s, .dependencies = {u"missing"_s}}.write(shared());
    VXPluginFixture{.identifier = u"part"_s}.write(whole + u"/Contents/PlugIns"_s);
    write({u"needs: part"_s});
    startWith({u"whole"_s});
    ASSERT_TRUE(manager().enablePluginProxy(plugin(u"needs"_s)));
    ASSERT_TRUE(isLoaded(u"part"_s) && !isLoaded(u"whole"_s));
    for (const VXAlertButton button : {VXAlertButton::Alternate, VXAlertButton::Default}) {
        user->answerAlert(button);
        manager().disablePluginProxy(plugin(u"whole"_s));
        const bool isRefused = button == VXAlertButton::Alternate;
        EXPECT_EQ(isLoaded(u"part"_s) && isLoaded(u"needs"_s), isRefused);
        EXPECT_THAT(enabled(), SizeIs(isRefused ? 2 : 0));
    }
}

TEST_F(VXPluginManagerTest, QuittingUnloadsDependantsFirstAndLeavesThemEnabled)
{
    write({u"a"_s, u"b: a"_s, u"c: b"_s});
    VXPluginFixture{.identifier = u"never"_s, .info = {{u"FixtureReply"_s, 0}}}.write(shared());
    const QStringList all{u"a"_s, u"b"_s, u"c"_s, u"never"_s};
    startWith(all);
    EXPECT_EQ(manager().shouldShutdown(), VXUnloadNow);
    EXPECT_TRUE(VXApplication::sharedApplication().isTerminating());
    manager().shutdown();
    manager().shutdown();
    EXPECT_THAT(VXPluginEvents(u"pluginWillUnload"_s), ElementsAre(u"c"_s, u"b"_s, u"a"_s, u"never"_s));
    EXPECT_THAT(user->alerts(), IsEmpty());
    EXPECT_EQ(enabled(), all);
}

TEST_F(VXPluginManagerTest, AnUndecidedPluginHoldsUpTheEndOfTheApplication)
{
    write({u"a"_s});
    VXPluginFixture{.identifier = u"later"_s, .info = {{u"FixtureReply"_s, 2}}, .code = u"AnsweringPlugin.so"_s}.write(
        shared());
    startWith({u"a"_s, u"later"_s});
    VXApplication &application = VXApplication::sharedApplication();
    bool isCertain = false;
    QObject::connect(&application, &VXApplication::willTerminate, &manager(), [&] { isCertain = true; });

    application.terminate();
    EXPECT_TRUE(application.isTerminating());
    instance(u"later"_s).replyToPluginShouldUnload(false);
    EXPECT_FALSE(application.isTerminating() || isCertain);
    EXPECT_TRUE(isLoaded(u"a"_s) && isLoaded(u"later"_s));

    application.terminate();
    setReply(u"later"_s, VXUnloadNow);
    instance(u"later"_s).replyToPluginShouldUnload(true);
    EXPECT_TRUE(isCertain && application.isTerminating());
    EXPECT_FALSE(isLoaded(u"a"_s) || isLoaded(u"later"_s));
    EXPECT_EQ(enabled(), (QStringList{u"a"_s, u"later"_s}));
}

TEST_F(VXPluginManagerTest, DisablingAndQuittingDoNotMix)
{
    write({u"a"_s, u"b"_s});
    for (const QString &later : {u"later.1"_s, u"later.2"_s})
        VXPluginFixture{.identifier = later, .info = {{u"FixtureReply"_s, 2}}, .code = u"AnsweringPlugin.so"_s}.write(
            shared());
    startWith({u"a"_s, u"b"_s, u"later.1"_s, u"later.2"_s});
    VXApplication &application = VXApplication::sharedApplication();
    bool isCertain = false;
    QObject::connect(&application, &VXApplication::willTerminate, &manager(), [&] { isCertain = true; });

    manager().disablePluginProxy(plugin(u"later.1"_s));
    application.terminate(); // while that waits
    EXPECT_THAT(manager().pluginsAwaited(), UnorderedElementsAre(u"later.1"_s, u"later.2"_s));
    manager().disablePluginProxy(plugin(u"a"_s)); // while both wait
    EXPECT_FALSE(isLoaded(u"a"_s));
    EXPECT_TRUE(isLoaded(u"b"_s) && application.isTerminating());

    setReply(u"later.1"_s, VXUnloadNow);
    instance(u"later.1"_s).replyToPluginShouldUnload(true); // it is disabled; the end still waits for the other
    EXPECT_FALSE(isLoaded(u"later.1"_s) || isCertain);
    EXPECT_THAT(enabled(), UnorderedElementsAre(u"b"_s, u"later.2"_s));
    instance(u"later.2"_s).replyToPluginShouldUnload(false);
    EXPECT_FALSE(application.isTerminating());
    EXPECT_EQ(manager().lastRefusal(), u"the plugin later.2 did not agree"_s);

    application.terminate();
    setReply(u"later.2"_s, VXUnloadNow);
    instance(u"later.2"_s).replyToPluginShouldUnload(true);
    EXPECT_TRUE(isCertain);
    EXPECT_FALSE(isLoaded(u"b"_s) || isLoaded(u"later.2"_s));
    EXPECT_THAT(enabled(), UnorderedElementsAre(u"b"_s, u"later.2"_s));
}

TEST_F(VXPluginManagerTest, APluginMayDoAnythingWhileItIsAskedOrUnloaded)
{
    const struct
    {
        QString operation;
        QString does;
        bool isUnloaded;
    } rows[] = {
        {u"pluginShouldUnload"_s, u"agree"_s, true},   {u"pluginShouldUnload"_s, u"refuse"_s, false},
        {u"pluginShouldUnload"_s, u"disable"_s, true}, {u"pluginWillUnload"_s, u"disable"_s, true},
        {u"pluginWillUnload"_s, u"agree"_s, true},
    };
    QStringList all;
    for (const auto &row : rows) {
        all.append(u"p%1"_s.arg(all.size()));
        // Its answer is that it wants time, which its reply makes good.
        const bool replies = row.operation == u"pluginShouldUnload"_s && row.does != u"disable"_s;
        VXPluginFixture{
            .identifier = all.last(),
            .info = {{u"FixtureReply"_s, replies ? 2 : 1}, {u"FixtureDoes"_s, QVariantMap{{row.operation, row.does}}}}}
            .write(shared());
    }
    startWith(all);
    for (qsizetype row = 0; row < all.size(); ++row) {
        manager().disablePluginProxy(plugin(all[row]));
        EXPECT_EQ(isLoaded(all[row]), !rows[row].isUnloaded) << row;
        EXPECT_EQ(enabled().contains(all[row]), !rows[row].isUnloaded) << row;
        EXPECT_FALSE(manager().awaitsUnloadReply()) << row;
    }
    EXPECT_EQ(VXPluginEvents(u"pluginShouldUnload"_s).size(), all.size()) << "each was asked once";
}

TEST_F(VXPluginManagerTest, AskingToQuitWhileBeingAskedToQuitChangesNothing)
{
    write({u"a"_s});
    VXPluginFixture{.identifier = u"hasty"_s,
                    .info = {{u"FixtureDoes"_s, QVariantMap{{u"pluginShouldUnload"_s, u"quit"_s}}}}}
        .write(shared());
    startWith({u"a"_s, u"hasty"_s});
    EXPECT_EQ(manager().shouldShutdown(), VXUnloadNow);
    EXPECT_TRUE(VXApplication::sharedApplication().isTerminating());
    EXPECT_THAT(VXPluginEvents(u"pluginShouldUnload"_s), ElementsAre(u"a"_s, u"hasty"_s));
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

// -- URLs and instances

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

// -- The program ends while a plugin is at work

class VXPluginCrashTest : public VXPluginManagerTest
{
protected:
    /** Starts another process of the program, which ends while the plugin does that. */
    void crash(const QString &operation, int version = 2000) const
    {
        writeCrash({{u"FixtureEndsIn"_s, operation}}, version);
        const auto run = [] {
            startWith({u"crash"_s, u"fine"_s});
            manager().shutdown();
        };
        EXPECT_EXIT(run(), testing::KilledBySignal(SIGABRT), "");
        writeCrash({}, version);
    }
    /** Another process in which all goes well; the plugin is loaded there or not. */
    static void endOrderly(bool isLoadedThere)
    {
        const auto run = [=] {
            startWith({u"crash"_s, u"fine"_s});
            const bool isAsExpected = isLoaded(u"crash"_s) == isLoadedThere;
            manager().shutdown();
            std::_Exit(isAsExpected ? 0 : 1);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
    }
    void writeCrash(const QVariantMap &info, int version = 2000) const
    {
        VXPluginFixture{.identifier = u"crash"_s,
                        .version = QString::number(version),
                        .kind = u"VXInterfacePlugin"_s, // asked for its windows at the end
                        .info = info}
            .write(shared());
    }
    QStringList markers() const { return QDir(shared() + u"/../Loading Plugins"_s).entryList({u"*.plist"_s}); }
};

TEST_F(VXPluginCrashTest, WhatWasAtWorkAtTwoEndsInARowIsLeftOutUntilTheUserRetries)
{
    write({u"fine"_s});
    crash(u"pluginDidLoad"_s);
    EXPECT_THAT(markers(), SizeIs(1));
    crash(u"pluginWillUnload"_s); // tried once more: it loads, but takes the program with it at the end
    endOrderly(false);
    startWith({u"crash"_s, u"fine"_s});
    EXPECT_THAT(markers(), IsEmpty());
    EXPECT_TRUE(isLoaded(u"fine"_s));
    EXPECT_FALSE(isLoaded(u"crash"_s));
    EXPECT_TRUE(plugin(u"crash"_s)->isEnabled());
    EXPECT_EQ(manager().problemOfPlugin(u"crash"_s),
              u"The program ended 2 times in a row while this plugin was unloading."_s);
    ASSERT_THAT(manager().startupNotices(), SizeIs(1));
    EXPECT_TRUE(manager().startupNotices()[0].startsWith(u"crash 2000 ("_s + shared() + u"/crash.vxplugin): The"_s));
    EXPECT_THAT(log.lines(u"ERROR"_s).filter(manager().startupNotices()[0]), SizeIs(2)); // at each start

    EXPECT_TRUE(manager().retryPlugin(u"crash"_s));
    EXPECT_TRUE(isLoaded(u"crash"_s));
    EXPECT_TRUE(manager().problemOfPlugin(u"crash"_s).isNull());
    EXPECT_THAT(markers(), IsEmpty());
}

TEST_F(VXPluginCrashTest, OneEndOrAnOrderlyOneBetweenTwoIsNoReason)
{
    write({u"fine"_s});
    crash(u"constructor"_s);
    endOrderly(true);
    crash(u"constructor"_s);
    endOrderly(true);
}

TEST_F(VXPluginCrashTest, ANewerVersionIsNotToBlame)
{
    write({u"fine"_s});
    crash(u"constructor"_s);
    crash(u"constructor"_s, 2001);
    endOrderly(true);
    crash(u"constructor"_s, 2001);
    crash(u"constructor"_s, 2001);
    endOrderly(false);
    writeCrash({}, 2002);
    endOrderly(true);
}

TEST_F(VXPluginCrashTest, ABuiltInDataPluginIsTriedAllTheSameAndTheUserTold)
{
    const auto writeStore = [this](const QString &validation) {
        VXPluginFixture{.identifier = u"store"_s,
                        .name = {},
                        .kind = VXPluginKind::Data,
                        .info = {{u"VXDataStoreName"_s, u"store"_s},
                                 {u"VXDataStoreType"_s, u"sqlite"_s},
                                 {u"FixtureValidation"_s, validation}},
                        .code = u"StorePlugin.so"_s}
            .write(shared());
    };
    writeStore(u"dies early"_s);
    for (int end = 0; end < 3; ++end)
        EXPECT_EXIT(startWith({}), testing::KilledBySignal(SIGKILL), "");
    writeStore(u"none"_s);
    user->answerAlert(VXAlertButton::Default); // it has no model
    startWith({});
    ASSERT_THAT(manager().startupNotices(), SizeIs(1));
    EXPECT_TRUE(
        manager().startupNotices()[0].endsWith(u"It is tried all the same, because other plugins store with it."_s));
    EXPECT_TRUE(manager().reasonToLeaveOut(u"store"_s).isNull());
}

TEST_F(VXPluginCrashTest, AnotherProcessThatIsLoadingIsLeftAlone)
{
    write({u"fine"_s});
    crash(u"constructor"_s);
    crash(u"constructor"_s);
    QFile marker(shared() + u"/../Loading Plugins/"_s + markers().value(0));
    ASSERT_TRUE(marker.open(QIODevice::ReadOnly));
    ASSERT_EQ(::flock(marker.handle(), LOCK_EX | LOCK_NB), 0); // as by a process that lives
    startWith({u"crash"_s});
    EXPECT_TRUE(isLoaded(u"crash"_s));
    EXPECT_THAT(markers(), SizeIs(1));
}

TEST_F(VXPluginCrashTest, NamesTheInnermostPlugin)
{
    write({u"fine"_s});
    VXPluginFixture{.identifier = u"crash"_s, .info = {{u"FixtureEndsIn"_s, u"constructor"_s}}}.write(
        shared() + u"/fine.vxplugin/Contents/PlugIns"_s);
    for (int end = 0; end < 2; ++end)
        EXPECT_EXIT(startWith({u"fine"_s}), testing::KilledBySignal(SIGABRT), "");
    startWith({u"fine"_s});
    EXPECT_FALSE(manager().reasonToLeaveOut(u"crash"_s).isNull());
    EXPECT_FALSE(isLoaded(u"fine"_s)); // not without its child
}
