#include "VXFileDescriptor.h"
#include "VXFramework.h"
#include "VXNotificationCenter.h"
#include "VXPluginProxyTesting.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <array>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

using VXPluginLoadTest = VXPluginProxyHomeTest;

TEST_F(VXPluginLoadTest, LoadsDependenciesFirstAndForgetsThemWhenUnloaded)
{
    enable({u"order.base"_s, u"order.top"_s});
    VXPluginProxy *const top = add({.identifier = u"order.top"_s, .dependencies = {u"order.base"_s, u"order.top"_s}});
    VXPluginProxy *const base = add({.identifier = u"order.base"_s});
    ASSERT_TRUE(top->load());
    EXPECT_TRUE(top->load()) << "again";
    EXPECT_EQ(VXPluginEvents(), (QStringList{u"order.base constructor"_s, u"order.base pluginDidLoad"_s,
                                             u"order.top constructor"_s, u"order.top pluginDidLoad"_s}));
    EXPECT_EQ(base->dependantPlugins(), QList<VXPluginProxy *>{top});
    EXPECT_TRUE(top->dependantPlugins().isEmpty()) << "it names itself";

    base->unload();
    EXPECT_EQ(log.count(u"Plugin order.base still has dependants: order.top"_s), 1);
    EXPECT_FALSE(base->isLoaded());
    top->unload();
    EXPECT_TRUE(base->dependantPlugins().isEmpty());
    EXPECT_EQ(top->singleton(), nullptr);
    EXPECT_EQ(VXPluginEvents(u"pluginWillUnload"_s), (QStringList{u"order.base"_s, u"order.top"_s}));
}

TEST_F(VXPluginLoadTest, PluginsThatDependOnEachOtherLoad)
{
    enable({u"cycle.a"_s, u"cycle.b"_s});
    VXPluginProxy *const a = add({.identifier = u"cycle.a"_s, .dependencies = {u"cycle.b"_s}});
    VXPluginProxy *const b = add({.identifier = u"cycle.b"_s, .dependencies = {u"cycle.a"_s}});
    EXPECT_TRUE(a->load());
    EXPECT_TRUE(b->isLoaded());
    EXPECT_EQ(VXPluginEvents(u"constructor"_s), (QStringList{u"cycle.b"_s, u"cycle.a"_s}));
    EXPECT_EQ(a->dependantPlugins(), QList<VXPluginProxy *>{b});
    EXPECT_EQ(b->dependantPlugins(), QList<VXPluginProxy *>{a});
}

TEST_F(VXPluginLoadTest, AMissingDependencyEndsLoading)
{
    enable({u"missing.present"_s});
    VXPluginProxy *const present = add({.identifier = u"missing.present"_s});
    VXPluginProxy *const proxy =
        add({.identifier = u"missing"_s, .dependencies = {u"missing.present"_s, u"missing.absent"_s}});
    EXPECT_FALSE(proxy->load());
    EXPECT_FALSE(proxy->isLoaded());
    EXPECT_TRUE(present->dependantPlugins().isEmpty());
    EXPECT_EQ(log.count(u"Missing dependency missing.absent for plugin: missing"_s), 1);
    EXPECT_EQ(log.count(u"Failed to load dependency for plugin: missing"_s), 1);
    EXPECT_EQ(proxy->loadError(), u"Missing dependency missing.absent for plugin: missing"_s);
}

TEST_F(VXPluginLoadTest, ADisabledDependencyIsEnabledWhenTheUserAgrees)
{
    for (const auto answer : {VXAlertButton::Alternate, VXAlertButton::Default}) {
        const bool agrees = answer == VXAlertButton::Default;
        const QString root = u"ask.root.%1"_s.arg(agrees);
        const QString inner = u"ask.inner.%1"_s.arg(agrees);
        const QString rootPath = VXPluginFixture{.identifier = root, .name = u"Ro%2ot"_s}.write(path(u"PlugIns"_s));
        VXPluginFixture{.identifier = inner}.write(rootPath + u"/Contents/PlugIns"_s);
        ASSERT_NE(manager.addPluginForBundleAtPath(rootPath), nullptr);
        VXPluginProxy *const top =
            add({.identifier = u"ask.top.%1"_s.arg(agrees), .name = u"Top"_s, .dependencies = {inner}});

        user->answerAlert(answer);
        EXPECT_EQ(top->load(), agrees);
        EXPECT_EQ(top->isLoaded(), agrees);
        const VXPluginProxy *const dependency = manager.pluginWithIdentifier(inner);
        EXPECT_EQ(dependency->isLoaded(), agrees);
        EXPECT_EQ(dependency->dependantPlugins().contains(top), agrees);
        EXPECT_EQ(VXUserDefaults::standardUserDefaults().stringArrayForKey(u"plugins"_s).contains(root), agrees);
        const VXAlert &alert = user->alerts().back();
        EXPECT_EQ(alert.message, VXLocalizedString(u"Enable plugin dependency?"_s));
        EXPECT_THAT(alert.informativeText.toStdString(), testing::AllOf(HasSubstr("Ro%2ot"), HasSubstr("Top")));
        EXPECT_EQ(alert.alternateButton, VXGlobalString(u"Cancel"_s));
    }
}

TEST_F(VXPluginLoadTest, ChildrenLoadWithTheirParentOrNoneOfThem)
{
    const auto family = [this](const QString &name, const QString &codeOfSecond) {
        const QString parent = VXPluginFixture{.identifier = name}.write(path(u"PlugIns"_s));
        const QString folder = parent + u"/Contents/PlugIns"_s;
        VXPluginFixture{.identifier = name + u".first"_s, .name = {}}.write(folder);
        VXPluginFixture{.identifier = name + u".second"_s, .dependencies = {name + u".first"_s}, .code = codeOfSecond}
            .write(folder);
        enable({name});
        return manager.addPluginForBundleAtPath(parent);
    };
    VXPluginProxy *const good = family(u"family.good"_s, u"RecordingPlugin.so"_s);
    ASSERT_TRUE(good->load());
    EXPECT_EQ(VXPluginEvents(u"constructor"_s),
              (QStringList{u"family.good"_s, u"family.good.first"_s, u"family.good.second"_s}));

    VXPluginProxy *const bad = family(u"family.bad"_s, u"GoodCode"_s);
    EXPECT_FALSE(bad->load());
    EXPECT_EQ(log.count(u"Failed to load child family.bad.second of plugin: family.bad"_s), 1);
    EXPECT_FALSE(bad->isLoaded());
    for (const VXPluginProxy *const child : bad->childProxies())
        EXPECT_FALSE(child->isLoaded()) << child->identifier().toStdString();
}

TEST_F(VXPluginLoadTest, CodeThatCannotBeUsedIsNamedWithTheLoadersReason)
{
    struct Row
    {
        QString code;
        QString message;
        QString reason;
    };
    const QString notLoaded = u"Principal class RecordingPlugin could not be loaded from bundle: "_s;
    const Row rows[] = {
        {u"GoodCode"_s, u"Missing/invalid principal class (GoodCode not a VXPlugin) in "_s, u"not a VXPlugin"_s},
        {u"NoEntryPointCode"_s, notLoaded, u"VXBundlePrincipalClass"_s},
        {u"UnresolvedSymbolCode"_s, notLoaded, u"symbolThatIsDefinedNowhere"_s},
        {u"WrongVersionCode"_s, notLoaded, u"built for interface version "_s},
        {QString(), notLoaded, u"names no code"_s},
    };
    for (const auto &[code, message, reason] : rows) {
        VXPluginProxy *const proxy = add({.identifier = u"broken.%1.code"_s.arg(code), .code = code});
        ASSERT_NE(proxy, nullptr);
        EXPECT_FALSE(proxy->load()) << code.toStdString();
        EXPECT_FALSE(proxy->isLoaded());
        EXPECT_EQ(log.count(message + proxy->bundle()->bundlePath()), 1) << message.toStdString();
        EXPECT_EQ(log.count(u"Failed to instantiate plugin: "_s + proxy->identifier()), 1);
        EXPECT_THAT(proxy->loadError().toStdString(), HasSubstr(reason.toStdString()));
        const QStringList reasons = log.lines().filter(reason).filter(proxy->bundle()->bundlePath());
        EXPECT_FALSE(reasons.isEmpty()) << "the log tells " << reason.toStdString();
    }
}

TEST_F(VXPluginLoadTest, TheClassDescendsFromTheBaseOfItsKindAndLiesInItsBundle)
{
    const auto problemOf = [this](const VXPluginFixture &fixture) {
        VXPluginProxy *const proxy = add(fixture);
        const bool isLoaded = proxy->load();
        EXPECT_EQ(isLoaded, proxy->loadError().isNull());
        return proxy->loadError().toStdString();
    };
    EXPECT_THAT(problemOf({.identifier = u"kind.wrong"_s, .kind = u"VXExporterPlugin"_s}),
                testing::AllOf(HasSubstr("Class RecordingPlugin in "), HasSubstr("is no VXExporterPlugin, which")));
    EXPECT_EQ(problemOf({.identifier = u"kind.unknown"_s, .kind = u"VXFancyPlugin"_s}), "");

    EXPECT_EQ(problemOf({.identifier = u"shared.one"_s}), "");
    const VXPluginFixture twin{.identifier = u"shared.two"_s};
    const QString code = twin.write(path(u"PlugIns"_s)) + u"/Contents/Linux/RecordingPlugin.so"_s;
    ASSERT_TRUE(QFile::remove(code));
    ASSERT_TRUE(QFile::link(path(u"PlugIns/shared.one.vxplugin/Contents/Linux/RecordingPlugin.so"_s), code));
    EXPECT_THAT(problemOf(twin), HasSubstr("is that of another plugin"));
}

TEST_F(VXPluginLoadTest, WhatPluginCodeThrowsIsLoggedAndGoesNoFurther)
{
    const std::tuple<QString, QString, QString, bool> rows[] = {
        {u"constructor"_s, u"VXException"_s, u"FixtureException: thrown as told"_s, false},
        {u"constructor"_s, u"std::exception"_s, u"std::runtime_error: thrown as told"_s, false},
        {u"pluginDidLoad"_s, u"number"_s, u"a value of type int"_s, true},
        {u"pluginShouldUnload"_s, u"VXException"_s, u"FixtureException: thrown as told"_s, true},
        {u"pluginWillUnload"_s, u"std::exception"_s, u"std::runtime_error: thrown as told"_s, true},
    };
    QStringList announced;
    QObject context;
    VXNotificationCenter::defaultCenter().addObserver(&context, VXPluginDidLoadNotification, [&](const auto &posted) {
        announced.append(posted.object.template value<VXPlugin *>()->identifier());
    });
    int number = 0;
    for (const auto &[operation, kind, text, loads] : rows) {
        VXPluginProxy *const proxy = add({.identifier = u"throws.%1"_s.arg(++number),
                                          .info = {{u"FixtureThrowsIn"_s, operation}, {u"FixtureThrows"_s, kind}}});
        EXPECT_EQ(proxy->load(), loads);
        const bool failsEarly = operation == u"constructor"_s || operation == u"pluginDidLoad"_s;
        const QString what = operation == u"constructor"_s ? u"Its constructor"_s : operation;
        const QString error = what + " threw "_L1 + text;
        EXPECT_EQ(proxy->loadError(), failsEarly ? error : QString());
        EXPECT_EQ(announced.contains(proxy->identifier()), !failsEarly);
        EXPECT_EQ(proxy->pluginInstancesShouldUnload(), VXUnloadNow);
        proxy->unload();
        EXPECT_FALSE(proxy->isLoaded());
        const QString line =
            u"Plugin %1 in %2 threw %3"_s.arg(proxy->identifier(), proxy->bundle()->bundlePath(), text);
        EXPECT_EQ(log.lines(u"ERROR"_s).filter(line).size(), 1) << line.toStdString();
    }
    VXFlushDeferredDeletions();
    EXPECT_EQ(VXPluginEvents(u"destructor"_s), (QStringList{u"throws.3"_s, u"throws.4"_s, u"throws.5"_s}));
}

TEST_F(VXPluginLoadTest, PluginsWithTheSameClassNamesKeepApart)
{
    VXPluginProxy *const one = add({.identifier = u"same.one"_s});
    VXPluginProxy *const two = add({.identifier = u"same.two"_s});
    ASSERT_TRUE(one->load() && two->load());
    EXPECT_NE(one->singleton()->metaObject(), two->singleton()->metaObject());
    EXPECT_EQ(one->singleton()->bundle(), one->bundle());
    EXPECT_EQ(two->singleton()->identifier(), u"same.two"_s);
}

TEST_F(VXPluginLoadTest, TheInterfaceFileIsLoadedForTheInstanceWhereItCanBe)
{
    const VXPluginFixture fixture{.identifier = u"interface"_s, .info = {{u"NSMainNibFile"_s, u"Main"_s}}};
    writeFile(u"PlugIns/interface.vxplugin/Contents/Resources/Main.ui"_s, "<ui/>");
    VXPluginProxy *const proxy = add(fixture);
    const QString failure = u"Failed to load nib file Main in interface"_s;
    EXPECT_TRUE(proxy->load()) << "without a loader";
    EXPECT_EQ(log.count(failure), 1);
    proxy->unload();

    QStringList loaded;
    VXPluginProxy::setInterfaceFileLoader([&](const QString &file, VXPlugin &owner) {
        loaded.append(QFileInfo(file).fileName() + u' ' + owner.identifier());
        return true;
    });
    EXPECT_TRUE(proxy->load());
    EXPECT_EQ(loaded, QStringList{u"Main.ui interface"_s});
    EXPECT_EQ(log.count(failure), 1);
}

TEST_F(VXPluginLoadTest, TellsWhatHoldsOnToTheCodeOfAnUnloadedPlugin)
{
    const std::pair<QString, QString> rows[] = {
        {u"observer"_s, u"observer of VXPluginDidLoadNotification in nobody"_s},
        {u"instance"_s, u"instance of RecordingPlugin"_s},
        {u"context"_s, u"instance of RecordingPlugin, observer of VXPluginWillUnloadNotification in RecordingPlugin"_s},
        {u"timer"_s, u"instance of RecordingPlugin, timer of RecordingPlugin every 60000 ms"_s},
    };
    for (const auto &[leak, report] : rows) {
        VXPluginProxy *const proxy = add({.identifier = u"leak."_s + leak, .info = {{u"FixtureLeaks"_s, leak}}});
        ASSERT_TRUE(proxy->load());
        proxy->unload();
        EXPECT_EQ(log.count(u"leak.%1 was unloaded"_s.arg(leak)), 0) << "before its instance is deleted";
        VXFlushDeferredDeletions();
        const QString line = u"Plugin leak.%1 was unloaded, but its code is still held by: %2"_s.arg(leak, report);
        EXPECT_EQ(log.lines(u"WARNING"_s).filter(line).size(), 1) << line.toStdString();
    }
}

TEST_F(VXPluginLoadTest, AThousandCyclesLeaveNothingBehind)
{
    VXPluginProxy *const proxy = add({.identifier = u"cycles"_s});
    ASSERT_TRUE(proxy->load()); // what is made once stays
    proxy->unload();
    VXFlushDeferredDeletions();
    VXClearPluginEvents();
    const std::size_t observations = VXNotificationCenter::defaultCenter().observations().size();
    for (int cycle = 0; cycle < 1000; ++cycle) {
        ASSERT_TRUE(proxy->load());
        proxy->unload();
        VXFlushDeferredDeletions();
        ASSERT_EQ(VXPluginEvents().value(3), u"cycles destructor"_s);
        VXClearPluginEvents();
    }
    EXPECT_EQ(VXNotificationCenter::defaultCenter().observations().size(), observations);
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(VXPluginLoadTest, CodeThatIsAPipeIsRefusedAndNotRead)
{
    VXPluginProxy *const proxy = add({.identifier = u"piped"_s});
    const QByteArray code = QFile::encodeName(proxy->bundle()->executablePath());
    ASSERT_EQ(::unlink(code.constData()), 0);
    ASSERT_EQ(::mkfifo(code.constData(), 0600), 0);
    const VXFileDescriptor pipe(::open(code.constData(), O_RDWR | O_CLOEXEC)); // whoever reads it need not wait
    std::array<char, 4096> bytes{};
    ASSERT_TRUE(pipe.writeAll(bytes));
    EXPECT_FALSE(proxy->load());
    EXPECT_THAT(proxy->loadError().toStdString(), HasSubstr("It is no plain file."));
}
