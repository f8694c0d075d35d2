#include "VXPluginManagerTesting.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::IsEmpty;

class VXOpenWindowsTest : public VXPluginManagerHomeTest
{
protected:
    const QString key = u"open-windows"_s;

    /** A plugin that opens URLs of the scheme which is its identifier. */
    void write(const QString &identifier, const QVariantMap &info = {}) const
    {
        VXPluginFixture fixture{.identifier = identifier,
                                .kind = u"VXInterfacePlugin"_s,
                                .info = {{u"NSPrincipalClass"_s, u"WindowPlugin"_s}, {u"FixtureScheme"_s, identifier}},
                                .code = u"WindowPlugin.so"_s};
        fixture.info.insert(info);
        fixture.write(shared());
    }
    void setOpenWindows(const QVariant &urls) const { VXUserDefaults::standardUserDefaults().setObject(urls, key); }
    QStringList openWindows() const { return VXUserDefaults::standardUserDefaults().stringArrayForKey(key); }
    static QStringList windowsOf(const QString &identifier)
    {
        return plugin(identifier)->performSelector("urlStringsForOpenWindows").toStringList();
    }
};

TEST_F(VXOpenWindowsTest, OpenAgainAndAreRecordedAtQuit)
{
    write(u"a"_s);
    write(u"b"_s);
    setOpenWindows(QStringList{u"b:1"_s, u"unknown:1"_s, u"a:1"_s, u"b:2"_s, u"b:3?fault"_s});
    startWith({u"a"_s, u"b"_s});
    EXPECT_THAT(windowsOf(u"a"_s), ElementsAre(u"a:1"_s));
    EXPECT_THAT(windowsOf(u"b"_s), ElementsAre(u"b:1"_s, u"b:2"_s));
    EXPECT_EQ(log.count(u"No plugin knows this window any more: unknown:1"_s), 1);

    VXApplication::sharedApplication().openURLString(u"a:2"_s);
    manager().shutdown();
    EXPECT_THAT(openWindows(), ElementsAre(u"a:1"_s, u"a:2"_s, u"b:1"_s, u"b:2"_s, u"b:3?fault"_s))
        << "the plugin that fails may be mended";
}

TEST_F(VXOpenWindowsTest, WaitForAPluginThatIsNotLoaded)
{
    write(u"a"_s);
    write(u"disabled"_s);
    setOpenWindows(QStringList{u"disabled:1"_s, u"a:1"_s, u"gone:1"_s});
    startWith({u"a"_s});
    VXApplication::sharedApplication().openURLString(u"gone:1"_s);
    manager().enablePluginProxy(plugin(u"disabled"_s));
    VXApplication::sharedApplication().openURLString(u"disabled:1"_s); // by hand, meanwhile
    manager().shutdown();
    EXPECT_THAT(openWindows(), ElementsAre(u"a:1"_s, u"disabled:1"_s, u"gone:1"_s));
}

TEST_F(VXOpenWindowsTest, OutliveSafeMode)
{
    write(u"a"_s);
    setOpenWindows(QStringList{u"a:1"_s});
    manager().setSafeMode(true);
    startWith({u"a"_s});
    EXPECT_FALSE(isLoaded(u"a"_s));
    manager().shutdown();
    EXPECT_THAT(openWindows(), ElementsAre(u"a:1"_s));
}

TEST_F(VXOpenWindowsTest, OnePluginDoesNotSpoilThoseOfOthers)
{
    write(u"a"_s, {{u"FixtureForgets"_s, true}});
    write(u"b"_s);
    setOpenWindows(QStringList{u"a:1"_s, u"b:1"_s});
    startWith({u"a"_s, u"b"_s});
    manager().shutdown();
    EXPECT_THAT(openWindows(), ElementsAre(u"b:1"_s));
    EXPECT_EQ(log.count(u"no memory of windows"_s), 1);
}

TEST_F(VXOpenWindowsTest, NoneLeaveNoTrace)
{
    write(u"a"_s);
    setOpenWindows(u"no list"_s);
    startWith({u"a"_s});
    EXPECT_THAT(windowsOf(u"a"_s), IsEmpty());
    manager().shutdown();
    EXPECT_FALSE(VXUserDefaults::standardUserDefaults().objectForKey(key).isValid());
}
