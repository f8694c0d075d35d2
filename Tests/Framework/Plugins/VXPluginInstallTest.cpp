#include "VXErrorDomain.h"
#include "VXNotificationCenter.h"
#include "VXPluginManagerTesting.h"
#include "VXPropertyList.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::IsEmpty;

namespace {

QString versionAt(const QString &bundlePath)
{
    const QVariantMap info = VXPropertyList::fromFile(bundlePath + u"/Contents/Info.plist"_s).toMap();
    return info.value(u"CFBundleVersion"_s).toString();
}

} // namespace

class VXPluginInstallTest : public VXPluginManagerHomeTest
{
protected:
    /** A bundle "p.vxplugin" of that version, in a folder named after it. */
    QString download(const QString &version, const QString &identifier = u"p"_s) const
    {
        return VXPluginFixture{.identifier = identifier, .version = version}.write(path(version), u"p"_s);
    }
    /** Installs what must fail and stay where it is. @return the reason. */
    QString refusal(const QString &bundlePath) const
    {
        const bool wasEmpty = isFolderEmpty(shared());
        VXError error;
        EXPECT_EQ(manager().installBundleAtPath(bundlePath, &error), VXPluginInstallResult::Failed);
        EXPECT_TRUE(isFolderEmpty(staging()));
        EXPECT_EQ(error.domain(), VXErrorDomain);
        EXPECT_EQ(error.localizedDescription(), u"Unable to install plugin."_s);
        EXPECT_EQ(error.filePath(), bundlePath);
        EXPECT_EQ(isFolderEmpty(shared()), wasEmpty);
        return error.localizedRecoverySuggestion();
    }
    static bool isFolderEmpty(const QString &folder)
    {
        return QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
};

TEST_F(VXPluginInstallTest, ANewPluginIsMovedIntoTheSharedFolderAndAdded)
{
    const QString source = download(u"2000"_s);
    writeFile(u".local/share/Vornix 2/PlugIns/p.vxplugin"_s, "something else of that name");
    startWith({});
    idle();
    int changes = 0;
    VXNotificationCenter::defaultCenter().addObserver(&manager(), VXPluginsDidChangeNotification,
                                                      [&](const VXNotification &) { ++changes; });
    EXPECT_EQ(manager().installBundleAtPath(source + u'/'), VXPluginInstallResult::Installed);
    EXPECT_FALSE(QFileInfo::exists(source));
    ASSERT_NE(plugin(u"p"_s), nullptr);
    EXPECT_EQ(plugin(u"p"_s)->bundle()->bundlePath(), shared() + u"/p.vxplugin"_s);
    EXPECT_EQ(readFile(trash(u"p.vxplugin"_s)), "something else of that name");
    EXPECT_EQ(QDir(shared()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u"p.vxplugin"_s});
    idle();
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(manager().enablePluginProxy(plugin(u"p"_s)));
}

TEST_F(VXPluginInstallTest, ABundleInASearchedFolderStaysWhereItIs)
{
    qputenv("VORNIX_PLUGIN_PATH", path(u"2000"_s).toUtf8());
    startWith({});
    const QString source = download(u"2000"_s);
    EXPECT_EQ(manager().installBundleAtPath(source), VXPluginInstallResult::Installed);
    EXPECT_EQ(manager().installBundleAtPath(source), VXPluginInstallResult::Installed);
    EXPECT_EQ(plugin(u"p"_s)->bundle()->bundlePath(), source);
    EXPECT_THAT(user->errors(), IsEmpty());
}

TEST_F(VXPluginInstallTest, TheCopyInUseIsReplacedAtTheNextStart)
{
    download(u"2000"_s);
    const QString place = shared() + u"/p.vxplugin"_s;
    ASSERT_TRUE(QDir().mkpath(shared()) && QDir().rename(path(u"2000/p.vxplugin"_s), place));
    EXPECT_EXIT(
        {
            startWith({u"p"_s});
            const bool isReady = isLoaded(u"p"_s);
            // One of the same plugin, a newer one in its stead, and another plugin by the same file name.
            for (const QString &source : {download(u"2001"_s), download(u"2002"_s), download(u"1945"_s, u"q"_s),
                                          download(u"2003"_s), staging() + u"/p.vxplugin"_s})
                if (manager().installBundleAtPath(source) != VXPluginInstallResult::InstalledForNextStart)
                    std::_Exit(1);
            std::_Exit(isReady && versionAt(place) == u"2000"_s && plugin(u"q"_s) == nullptr ? 0 : 2);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(versionAt(staging() + u"/p.vxplugin"_s), u"2003"_s);
    EXPECT_EQ(versionAt(trash(u"p.vxplugin"_s)), u"2001"_s);
    EXPECT_EQ(versionAt(trash(u"p.vxplugin.1"_s)), u"2002"_s);

    writeFile(u".local/share/Vornix 2/PlugIns (Install)/bad.vxplugin/Contents/other"_s, {});
    startWith({u"p"_s});
    EXPECT_TRUE(isLoaded(u"p"_s));
    EXPECT_EQ(versionAt(place), u"2003"_s);
    EXPECT_EQ(versionAt(trash(u"p.vxplugin.3"_s)), u"2000"_s);
    EXPECT_EQ(log.count(u"Could not install: "_s + staging() + u"/bad.vxplugin"_s), 1);
    EXPECT_EQ(QDir(staging()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{u"bad.vxplugin"_s});
}

TEST_F(VXPluginInstallTest, RefusesWhatIsNoPluginBundle)
{
    startWith({});
    const QString nameless = VXPluginFixture{.identifier = {}, .code = {}}.write(path(), u"nameless"_s);
    const QString folder = download(u"2000"_s);
    ASSERT_TRUE(QFile::link(folder, path(u"link.vxplugin"_s)) && QDir().rename(folder, path(u"p.bundle"_s)));
    ASSERT_TRUE(QFile::link(path(u"p.bundle"_s), folder));
    EXPECT_TRUE(refusal(path(u"none.vxplugin"_s)).contains(u"no such bundle"_s));
    EXPECT_TRUE(refusal(writeFile(u"file.vxplugin"_s, {})).contains(u"no such bundle"_s));
    EXPECT_TRUE(refusal(path(u"p.bundle"_s)).contains(u"must end in"_s));
    EXPECT_TRUE(refusal(nameless).contains(u"no identifier"_s));
    EXPECT_TRUE(refusal(folder).contains(u"link to another place"_s));
    EXPECT_EQ(log.count(u"Refused plugin "_s), 5);
}

TEST_F(VXPluginInstallTest, RefusesWhatTheNextStartWouldNotTakeOrMistake)
{
    qputenv("VORNIX_PLUGIN_PATH", path(u"development"_s).toUtf8());
    VXPluginFixture{.identifier = u"developed"_s, .version = u"2005"_s}.write(path(u"development"_s));
    const QString family = VXPluginFixture{.identifier = u"family"_s}.write(shared());
    VXPluginFixture{.identifier = u"family.part"_s}.write(family + u"/Contents/PlugIns"_s);
    startWith({});
    const auto bundle = [this](const VXPluginFixture &fixture) { return fixture.write(path(u"new"_s)); };
    const QString intruder = bundle({.identifier = u"intruder"_s});
    VXPluginFixture{.identifier = u"family.part"_s}.write(intruder + u"/Contents/PlugIns"_s);
    const QString twins = bundle({.identifier = u"twins"_s});
    for (const QString &name : {u"one"_s, u"two"_s})
        VXPluginFixture{.identifier = u"twin"_s}.write(twins + u"/Contents/PlugIns"_s, name);
    const std::pair<QString, QString> refused[] = {
        {bundle({.identifier = u"old"_s, .version = u"1944.9"_s}), u"Its version 1944.9 is below 1945, "_s},
        {bundle({.identifier = u"bare"_s, .code = {}}), u"names no CFBundleExecutable."_s},
        {bundle({.identifier = u"lost"_s, .info = {{u"CFBundleExecutable"_s, u"x.so"_s}}}),
         u"no file \"Contents/Linux/x.so\""_s},
        {bundle({.identifier = u"family.part"_s}),
         u"\"family.part\" is that of another plugin: "_s + family + u"/Contents/"_s},
        {intruder, u"is that of another plugin: "_s + family},
        {twins, u"is that of another plugin: "_s + twins + u"/Contents/PlugIns/one.vxplugin"_s},
        {bundle({.identifier = u"developed"_s, .version = u"2004"_s}), u"developed.vxplugin is version 2005."_s},
    };
    for (const auto &[bundlePath, reason] : refused) {
        EXPECT_THAT(refusal(bundlePath).toStdString(), testing::HasSubstr(reason.toStdString()));
        EXPECT_TRUE(QFileInfo::exists(bundlePath));
    }
}

TEST_F(VXPluginInstallTest, AnInstallThatWasCutShortIsFinishedAtTheNextStart)
{
    // As a kill leaves it: the new copy waits, the older one is in the trash already; and one under another name.
    VXPluginFixture{.identifier = u"p"_s, .version = u"2001"_s}.write(staging(), u"p"_s);
    VXPluginFixture{.identifier = u"p"_s, .version = u"2003"_s}.write(shared(), u"other"_s);
    startWith({u"p"_s});
    EXPECT_TRUE(isLoaded(u"p"_s));
    EXPECT_EQ(versionAt(plugin(u"p"_s)->bundle()->bundlePath()), u"2001"_s) << "the one installed last";
    EXPECT_EQ(versionAt(trash(u"other.vxplugin"_s)), u"2003"_s);
    EXPECT_TRUE(isFolderEmpty(staging()));
}

// What lies in folders that nobody has locked was on its way when its process was killed.
TEST_F(VXPluginInstallTest, WhatWasOnItsWayWhenItsProcessWasKilledIsInstalledAtTheNextStart)
{
    const QString waiting = staging() + u"/.install-000001"_s;
    const QString inUse = staging() + u"/.install-000002"_s;
    ASSERT_TRUE(QDir().mkpath(waiting) && QDir().mkpath(inUse));
    for (const QString &place : {staging(), waiting})
        ASSERT_TRUE(QDir().mkpath(place + u"/.vornix-move.000003/half a copy"_s));
    ASSERT_TRUE(QDir().rename(download(u"2000"_s), waiting + u"/p.vxplugin"_s));
    ASSERT_TRUE(QDir().rename(download(u"2001"_s, u"q"_s), inUse + u"/p.vxplugin"_s));
    const int lock = ::open(QFile::encodeName(inUse).constData(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    startWith({});
    EXPECT_EQ(versionAt(shared() + u"/p.vxplugin"_s), u"2000"_s);
    EXPECT_EQ(QDir(staging()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u".install-000002"_s});
    ::close(lock);
}

TEST_F(VXPluginInstallTest, RefusesAPluginOfAnotherKindWithTheSameIdentifier)
{
    const QString reactor = download(u"2000"_s);
    ASSERT_TRUE(QDir().mkpath(shared()) && QDir().rename(reactor, shared() + u"/p.vxplugin"_s));
    startWith({});
    const QString other =
        VXPluginFixture{.identifier = u"p"_s, .version = u"2001"_s, .kind = u"VXInterfacePlugin"_s}.write(path());
    VXError error;
    EXPECT_EQ(manager().installBundleAtPath(other, &error), VXPluginInstallResult::Failed);
    for (const QString &part : {other, u"VXInterfacePlugin"_s, shared() + u"/p.vxplugin"_s, u"VXReactorPlugin"_s})
        EXPECT_TRUE(error.localizedRecoverySuggestion().contains(part)) << error.description().toStdString();
    EXPECT_TRUE(QFileInfo::exists(other));
    EXPECT_EQ(versionAt(shared() + u"/p.vxplugin"_s), u"2000"_s);
}

TEST_F(VXPluginInstallTest, RefusesLinksThatLeadOutsideTheBundle)
{
    startWith({});
    const QString bundle = download(u"2000"_s);
    QDir().mkpath(bundle + u"/Contents/Resources/deep/deeper"_s);
    writeFile(u"outside"_s, {});
    ASSERT_TRUE(QFile::link(u"../.."_s, bundle + u"/Contents/Resources/deep/up"_s)); // inside: Contents
    const QString link = bundle + u"/Contents/Resources/deep/deeper/link"_s;
    for (const QString &target :
         {u"/etc/passwd"_s, bundle + u"/Contents"_s, u"../../../../../outside"_s, u"../../../../../../nowhere"_s,
          u"../up/../../outside"_s, u"../../../../../p.vxplugin.other"_s, u"link"_s}) {
        QFile::remove(link);
        ASSERT_EQ(::symlink(QFile::encodeName(target).constData(), QFile::encodeName(link).constData()), 0);
        EXPECT_EQ(refusal(bundle), u"Its link \"Contents/Resources/deep/deeper/link\" leads outside the bundle."_s)
            << target.toStdString();
        EXPECT_TRUE(QFileInfo(link).isSymLink());
    }
    QFile::remove(link);
    ASSERT_TRUE(QFile::link(u"../up/Linux/not there"_s, link));
    EXPECT_EQ(manager().installBundleAtPath(bundle), VXPluginInstallResult::Installed);
    EXPECT_EQ(QFileInfo(shared() + u"/p.vxplugin/Contents/Resources/deep/up"_s).canonicalFilePath(),
              QFileInfo(shared() + u"/p.vxplugin/Contents"_s).canonicalFilePath());
}

TEST_F(VXPluginInstallTest, FailsWithoutLossWhereTheFolderOrTheTrashCanNotBeMade)
{
    startWith({});
    const QString source = download(u"2000"_s);
    const QString inTheWay = writeFile(u".local/share/Vornix 2/PlugIns"_s, {});
    EXPECT_EQ(refusal(source), u"Could not create folder."_s);
    EXPECT_EQ(versionAt(source), u"2000"_s);

    QFile::remove(inTheWay);
    writeFile(u".local/share/Trash"_s, {});
    const QString older = writeFile(u".local/share/Vornix 2/PlugIns/p.vxplugin"_s, "older");
    EXPECT_EQ(manager().installBundleAtPath(source), VXPluginInstallResult::Failed);
    EXPECT_EQ(versionAt(source), u"2000"_s);
    EXPECT_EQ(readFile(older), "older");
    EXPECT_EQ(log.count(u"Unable to move plugin: %1 -> %2"_s.arg(source, older)), 1);
    EXPECT_EQ(QDir(shared()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(), 1);
}

TEST_F(VXPluginInstallTest, AFullDiskLosesNeitherTheNewNorTheOlderCopy)
{
    // Only what comes from another file system needs room.
    QTemporaryDir elsewhere(u"/dev/shm/vornix-test-XXXXXX"_s);
    struct stat there = {};
    struct stat here = {};
    ::stat(QFile::encodeName(elsewhere.path()).constData(), &there);
    ::stat(QFile::encodeName(path()).constData(), &here);
    if (!elsewhere.isValid() || there.st_dev == here.st_dev)
        GTEST_SKIP() << "there is one file system only";
    const QString source = VXPluginFixture{.identifier = u"p"_s}.write(elsewhere.path());
    const QString older = writeFile(u".local/share/Vornix 2/PlugIns/p.vxplugin"_s, "older");
    startWith({});

    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {.rlim_cur = 20'000, .rlim_max = before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    VXError error;
    EXPECT_EQ(manager().installBundleAtPath(source, &error), VXPluginInstallResult::Failed);
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_FALSE(error.localizedRecoverySuggestion().isEmpty());
    EXPECT_TRUE(QFileInfo::exists(source + u"/Contents/Linux/RecordingPlugin.so"_s));
    EXPECT_EQ(readFile(older), "older");
    EXPECT_EQ(QDir(shared()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u"p.vxplugin"_s});

    EXPECT_EQ(manager().installBundleAtPath(source), VXPluginInstallResult::Installed);
    EXPECT_EQ(readFile(trash(u"p.vxplugin"_s)), "older");
}
