#include "VXPluginManagerTesting.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::IsEmpty, testing::SizeIs, testing::UnorderedElementsAre;

// Disabling plugins, and quitting.
class VXPluginUnloadTest : public VXPluginManagerHomeTest
{
protected:
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

TEST_F(VXPluginUnloadTest, DisablingAsksOncePerDependantRootAndUnloadsDependantsFirst)
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

TEST_F(VXPluginUnloadTest, PluginsThatDependOnEachOtherAreUnloadedTogether)
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

TEST_F(VXPluginUnloadTest, APluginThatIsNotLoadedCanBeDisabledAndABuiltInOneNot)
{
    write({u"broken: missing"_s});
    VXPluginFixture{.identifier = u"unnamed"_s, .name = {}}.write(shared());
    startWith({u"broken"_s});
    manager().disablePluginProxy(plugin(u"broken"_s));
    EXPECT_THAT(enabled(), IsEmpty());
    manager().disablePluginProxy(plugin(u"unnamed"_s));
    EXPECT_TRUE(isLoaded(u"unnamed"_s));
    EXPECT_EQ(log.count(u"A built-in plugin cannot be disabled: unnamed"_s), 1);
}

TEST_F(VXPluginUnloadTest, APluginMayTakeItsTimeButNotRefuseToBeDisabled)
{
    for (const auto &[identifier, reply] :
         {std::pair{u"never"_s, 0}, std::pair{u"later"_s, 2}, std::pair{u"other"_s, 2}})
        VXPluginFixture{.identifier = identifier, .info = {{u"FixtureReply"_s, reply}}, .code = u"AnsweringPlugin.so"_s}
            .write(shared());
    startWith({u"later"_s, u"never"_s, u"other"_s});
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
    manager().disablePluginProxy(plugin(u"other"_s));
    instance(u"other"_s).replyToPluginShouldUnload(false); // for itself alone
    setReply(u"later"_s, VXUnloadNow);
    instance(u"later"_s).replyToPluginShouldUnload(true);
    EXPECT_FALSE(isLoaded(u"later"_s));
    EXPECT_THAT(enabled(), ElementsAre(u"other"_s));
}

TEST_F(VXPluginUnloadTest, DisablingTakesAlongWhatWasLoadedWhileAPluginWantedTime)
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

TEST_F(VXPluginUnloadTest, DisablingTakesAlongPartsThatAreLoadedWithoutTheWhole)
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

TEST_F(VXPluginUnloadTest, QuittingUnloadsDependantsFirstAndLeavesThemEnabled)
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

TEST_F(VXPluginUnloadTest, AnUndecidedPluginHoldsUpTheEndOfTheApplication)
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

TEST_F(VXPluginUnloadTest, DisablingAndQuittingDoNotMix)
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

TEST_F(VXPluginUnloadTest, APluginMayDoAnythingWhileItIsAskedOrUnloaded)
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

TEST_F(VXPluginUnloadTest, AskingToQuitWhileBeingAskedToQuitChangesNothing)
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
