#include "VXPluginKind.h"
#include "VXPluginManagerTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdlib>
#include <sys/file.h>

using namespace Qt::StringLiterals;
using testing::IsEmpty, testing::SizeIs;

// The program ends while a plugin is at work.
class VXPluginCrashTest : public VXPluginManagerHomeTest
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
