#include "FixtureGreeter.h"
#include "VXFramework.h"
#include "VXPluginProxyTesting.h"

#include <QtCore/QDir>

using namespace Qt::StringLiterals;

using VXPluginProxyTest = VXPluginProxyHomeTest;

TEST_F(VXPluginProxyTest, AProxyWithoutBundleKnowsWhatTheUpdateServiceSays)
{
    const auto proxy = VXPluginProxy::proxyWithIdentifier(u"remote"_s);
    EXPECT_TRUE(proxy->name().isNull());
    EXPECT_EQ(proxy->description(), u"remote"_s);
    proxy->setRemoteInfo({{u"name"_s, u"Far Away"_s}});
    EXPECT_EQ(proxy->name(), u"Far Away"_s);
    EXPECT_FALSE(proxy->isInstalled() || proxy->isEnabled() || proxy->isBuiltInPlugin());
    EXPECT_EQ(proxy->icon().name, u"plugin"_s);
    EXPECT_TRUE(proxy->as_version().isNull());

    EXPECT_FALSE(proxy->load());
    EXPECT_EQ(log.count(u"-[VXPluginProxy pluginClass] Plugin is not installed: remote"_s), 1);
    EXPECT_EQ(proxy->loadError(), u"Plugin is not installed: remote"_s);
}

TEST_F(VXPluginProxyTest, TheNameIsTheInstancesThenTheBundlesThenTheRemoteOne)
{
    VXPluginProxy *const own = add({.identifier = u"name.own"_s, .info = {{u"FixtureName"_s, u"Own"_s}}});
    EXPECT_EQ(own->name(), u"Fixture"_s);
    ASSERT_TRUE(own->load());
    EXPECT_EQ(own->name(), u"Own"_s);

    VXPluginProxy *const unnamed = add({.identifier = u"name.none"_s, .name = {}});
    unnamed->setRemoteInfo({{u"name"_s, u"Remote"_s}});
    ASSERT_TRUE(unnamed->load());
    EXPECT_EQ(unnamed->name(), u"Remote"_s);
}

TEST_F(VXPluginProxyTest, ShowsItsBundleToScripts)
{
    const VXPluginProxy *const proxy =
        add({.identifier = u"scripts"_s, .info = {{u"CFBundleShortVersionString"_s, u"2.5"_s}}});
    EXPECT_EQ(proxy->property("as_version").toString(), u"2.5 (2000)"_s);
    EXPECT_EQ(proxy->property("as_name").toString(), u"Fixture"_s);
    EXPECT_EQ(proxy->pluginClassType(), u"VXReactorPlugin"_s);
    EXPECT_EQ(add({.identifier = u"scripts.bare"_s, .version = {}})->as_version(), u"(null) ((null))"_s);
}

namespace {

class NamingWorkspace : public VXWorkspace
{
public:
    VXIcon iconForFile(const QString &path) override { return path.isNull() ? VXIcon() : named(u"file "_s + path); }
    VXIcon iconForFileType(const QString &type) override { return named(u"type "_s + type); }
    QString applicationPathForIdentifier(const QString &identifier) override
    {
        return identifier == u"installed"_s ? u"/app"_s : QString();
    }
    VXIcon iconForApplication(const QString &) override { return {}; }
    bool openURL(const QUrl &, VXError *) override { return false; }
    qint64 processIdentifierForApplication(const QString &) override { return 0; }

private:
    static VXIcon named(const QString &name) { return {.name = name, .genericName = {}, .path = {}}; }
};

} // namespace

TEST_F(VXPluginProxyTest, TheIconIsTheBundlesOwnElseOneItNames)
{
    VXApplication::sharedApplication().setWorkspace(std::make_unique<NamingWorkspace>());
    const QString typeKey = u"VXBundleIconFromFileType"_s;
    const QString applicationKey = u"VXBundleIconFromAppWithIdentifier"_s;
    const QString fileKey = u"CFBundleIconFile"_s;
    struct Row
    {
        QVariantMap info;
        QString name;
    };
    const Row rows[] = {
        {{{fileKey, u"missing"_s}, {typeKey, u"vcf"_s}, {applicationKey, u"installed"_s}}, u"type vcf"_s},
        {{{applicationKey, u"installed"_s}}, u"file /app"_s},
        {{{applicationKey, u"absent"_s}}, u"file "_s + path(u"PlugIns/icon.2.vxplugin"_s)},
        {{}, u"file "_s + path(u"PlugIns/icon.3.vxplugin"_s)},
    };
    for (int row = 0; row < 4; ++row) {
        VXPluginProxy proxy(u"icon.%1"_s.arg(row));
        proxy.setBundle(bundleWith({.identifier = proxy.identifier(), .info = rows[row].info, .code = {}}));
        EXPECT_EQ(proxy.icon().name, rows[row].name);
    }
    VXPluginProxy proxy(u"icon.own"_s);
    proxy.setBundle(
        bundleWith({.identifier = u"icon.own"_s, .info = {{fileKey, u"own"_s}}, .code = {}}, u"own.png"_s, "an image"));
    EXPECT_EQ(proxy.icon().path, path(u"PlugIns/icon.own.vxplugin/Contents/Resources/own.png"_s));
    VXApplication::sharedApplication().setWorkspace(nullptr);
}

TEST_F(VXPluginProxyTest, RegistersItsDefaultsFileIfThatIsADictionary)
{
    VXPluginProxy good(u"defaults.good"_s);
    good.setBundle(
        bundleWith({.identifier = good.identifier(), .code = {}}, u"defaults.plist"_s,
                   "<plist version=\"1.0\"><dict><key>fixture.colour</key><string>red</string></dict></plist>"));
    EXPECT_EQ(VXUserDefaults::standardUserDefaults().stringForKey(u"fixture.colour"_s), u"red"_s);

    VXPluginProxy bad(u"defaults.bad"_s);
    bad.setBundle(bundleWith({.identifier = bad.identifier(), .code = {}}, u"defaults.plist"_s,
                             "<plist version=\"1.0\"><array/></plist>"));
    EXPECT_TRUE(bad.isInstalled());
    EXPECT_EQ(log.lines(u"WARNING"_s).filter(u"invalid defaults: "_s + path(u"PlugIns/defaults.bad.vxplugin"_s)).size(),
              1);
}

TEST_F(VXPluginProxyTest, IsBuiltInInsideTheFrameworkOrAsANamelessRoot)
{
    VXPluginProxy named(u"builtin.named"_s);
    named.setBundle(bundleWith({.identifier = named.identifier(), .code = {}}));
    EXPECT_FALSE(named.isBuiltInPlugin() || named.isEnabled());

    VXPluginProxy nameless(u"builtin.nameless"_s);
    nameless.setBundle(bundleWith({.identifier = nameless.identifier(), .name = {}, .code = {}}));
    EXPECT_TRUE(nameless.isBuiltInPlugin() && nameless.isEnabled());
    nameless.setParentProxy(&named);
    EXPECT_FALSE(nameless.isBuiltInPlugin() || nameless.isEnabled()) << "as a child it follows its parent";

    const QTemporaryDir inFramework(VXFrameworkBundle()->bundlePath() + u"/Fixture-XXXXXX"_s);
    VXPluginProxy inside(u"builtin.inside"_s);
    inside.setBundle(VXBundle::bundleWithPath(
        VXPluginFixture{.identifier = inside.identifier(), .code = {}}.write(inFramework.path())));
    EXPECT_TRUE(inside.isBuiltInPlugin());
}

TEST_F(VXPluginProxyTest, IsEnabledAsLongAsTheUserDefaultListsIt)
{
    VXPluginProxy parent(u"enabled.parent"_s);
    parent.setBundle(bundleWith({.identifier = parent.identifier(), .code = {}}));
    VXPluginProxy child(u"enabled.child"_s);
    child.setParentProxy(&parent);
    EXPECT_FALSE(parent.isEnabled());
    enable({u"other"_s, parent.identifier()});
    EXPECT_TRUE(parent.isEnabled() && child.isEnabled());
    EXPECT_EQ(child.rootProxy(), &parent);
    enable({child.identifier()});
    EXPECT_FALSE(parent.isEnabled() || child.isEnabled());
}

TEST_F(VXPluginProxyTest, StandsInForItsInstance)
{
    VXPluginProxy *const proxy = add({.identifier = u"stand-in"_s});
    EXPECT_FALSE(proxy->respondsToSelector("sum", 2));
    const QString notLoaded = u"Plugin stand-in was not loaded when selector sum was called"_s;
    EXPECT_EQ(VXReasonOfAssertion([&] { proxy->performSelector("sum", {1, 2}); }), notLoaded);
    EXPECT_EQ(VXReasonOfAssertion([&] { proxy->as<FixtureGreeter>("sum"); }), notLoaded);

    ASSERT_TRUE(proxy->load());
    EXPECT_TRUE(proxy->respondsToSelector("sum", 2) && proxy->respondsToSelector("deleteLater"));
    EXPECT_TRUE(proxy->respondsToSelector("isLoaded") && proxy->respondsToSelector("rootProxy")) << "the proxy's own";
    EXPECT_EQ(proxy->performSelector("isInstalled"), QVariant(true));
    EXPECT_EQ(proxy->performSelector("sum", {1, u"2"_s}), QVariant(3));
    EXPECT_EQ(proxy->as<FixtureGreeter>("greeting").greeting(), u"Greetings from stand-in"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { proxy->performSelector("sum", {1}); }),
              u"Plugin stand-in does not respond to selector sum"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { proxy->as<VXPluginProxy>("load"); }),
              u"Plugin stand-in does not respond to selector load"_s);
    EXPECT_FALSE(proxy->performSelector("fail").isValid());
    EXPECT_EQ(log.count(u"threw std::runtime_error: failed as told"_s), 1);
}

TEST_F(VXPluginProxyTest, DevicePluginsMakeInstancesOnDemand)
{
    VXPluginProxy *const proxy =
        add({.identifier = u"device"_s, .kind = u"VXDevicePlugin"_s, .info = {{u"FixtureReply"_s, 2}}});
    ASSERT_TRUE(proxy->load());
    EXPECT_EQ(proxy->singleton(), nullptr);
    EXPECT_EQ(VXReasonOfAssertion([&] { proxy->performSelector("greet"); }),
              u"Plugin device was not loaded when selector greet was called"_s);
    EXPECT_EQ(proxy->pluginInstancesShouldUnload(), VXUnloadNow) << "nobody to ask";

    const VXPluginProxy::Instance first = proxy->instantiateWithSelector("initWithObject", u"one"_s);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->objectName(), u"one"_s);
    ASSERT_NE(proxy->instantiateWithSelector("initWithObject", u"two"_s), nullptr);
    EXPECT_EQ(proxy->instantiateWithSelector("initWithObject", 3), nullptr) << "refused";
    EXPECT_EQ(proxy->instantiateWithSelector("noSuchOperation", u"four"_s), nullptr);
    EXPECT_EQ(log.count(u"Unable to instatiate plugin device"_s), 2);
    EXPECT_EQ(proxy->instances().size(), 2U);
    VXClearPluginEvents();
    EXPECT_EQ(proxy->pluginInstancesShouldUnload(), VXUnloadLater);
    EXPECT_EQ(VXPluginEvents(u"pluginShouldUnload"_s).size(), 1) << "the first answer decides";

    proxy->removeInstance(first.get());
    EXPECT_EQ(proxy->instances().size(), 1U);
    proxy->unload();
    EXPECT_TRUE(proxy->instances().empty());
    EXPECT_EQ(VXPluginEvents(u"pluginWillUnload"_s).size(), 1) << "not the removed one";

    VXPluginProxy *const single = add({.identifier = u"single"_s});
    EXPECT_EQ(single->instantiateWithSelector("initWithObject", u"x"_s), nullptr);
    EXPECT_EQ(log.count(u"Plugin single does not create multiple instances (object: x)"_s), 1);
}
