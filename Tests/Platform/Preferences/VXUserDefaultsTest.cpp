#include "VXUserDefaults.h"
#include "VXException.h"
#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QUrl>

#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

class VXUserDefaultsTest : public VXHomeTest
{
protected:
    QString folder() const { return path(u"Preferences"_s); }
    QString file(const QString &domain = u"test"_s) const { return folder() + u'/' + domain + u".plist"_s; }
    QVariantMap stored(const QString &domain = u"test"_s) const
    {
        return VXPropertyList::fromFile(file(domain)).toMap();
    }
};

TEST_F(VXUserDefaultsTest, TheDomainGoesBeforeWhatWasRegistered)
{
    VXUserDefaults defaults(u"test"_s, folder());
    defaults.registerDefaults({{u"a"_s, 1}, {u"b"_s, u"registered"_s}});
    defaults.registerDefaults({{u"a"_s, 2}});
    EXPECT_EQ(defaults.integerForKey(u"a"_s), 2);
    defaults.setObject(3, u"a"_s);
    EXPECT_EQ(defaults.integerForKey(u"a"_s), 3);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(stored(), (QVariantMap{{u"a"_s, 3}})) << "registered values are not written";
    defaults.setObject(QString(), u"a"_s); // a null text is none: as removeObjectForKey
    EXPECT_EQ(defaults.integerForKey(u"a"_s), 2);
    EXPECT_TRUE(defaults.stringForKey(u"none"_s).isNull());
}

TEST_F(VXUserDefaultsTest, ReadsValuesAsTheTypeAskedFor)
{
    VXUserDefaults defaults(u"test"_s, folder());
    const std::tuple<QVariant, bool, qint64, QStringList> cases[] = {
        {true, true, 1, {}},
        {0, false, 0, {}},
        {2.5, true, 3, {}},
        {u"YES"_s, true, 0, {}},
        {u"NO"_s, false, 0, {}},
        {u"17"_s, false, 17, {}},
        {QVariantList{u"a"_s, u"b"_s}, false, 0, {u"a"_s, u"b"_s}},
        {QVariantMap{{u"a"_s, 1}}, false, 0, {}},
    };
    for (const auto &[value, asBool, asInteger, asTexts] : cases) {
        defaults.setObject(value, u"key"_s);
        EXPECT_EQ(defaults.boolForKey(u"key"_s), asBool) << testing::PrintToString(value);
        EXPECT_EQ(defaults.integerForKey(u"key"_s), asInteger) << testing::PrintToString(value);
        EXPECT_EQ(defaults.stringArrayForKey(u"key"_s), asTexts) << testing::PrintToString(value);
    }
    EXPECT_THROW(defaults.setObject(QUrl(u"http://localhost"_s), u"key"_s), VXAssertionException);
}

TEST_F(VXUserDefaultsTest, ChangesOfTwoHoldersAreBothKept)
{
    VXUserDefaults one(u"test"_s, folder());
    VXUserDefaults two(u"test"_s, folder());
    one.setObject(1, u"one"_s);
    two.setObject(2, u"two"_s);
    one.setObject(1, u"shared"_s);
    two.setObject(2, u"shared"_s);
    EXPECT_TRUE(one.synchronize());
    EXPECT_TRUE(two.synchronize());
    EXPECT_TRUE(one.synchronize());
    EXPECT_EQ(stored(), (QVariantMap{{u"one"_s, 1}, {u"two"_s, 2}, {u"shared"_s, 2}}));
    EXPECT_EQ(one.integerForKey(u"two"_s), 2) << "read at synchronize";
    two.removeObjectForKey(u"one"_s);
    EXPECT_TRUE(two.synchronize());
    EXPECT_TRUE(one.synchronize());
    EXPECT_FALSE(one.objectForKey(u"one"_s).isValid());
}

TEST_F(VXUserDefaultsTest, AnUpdateWorksOnWhatTheFileHoldsWhenItIsWritten)
{
    VXUserDefaults one(u"test"_s, folder());
    VXUserDefaults two(u"test"_s, folder());
    const auto append = [](const QString &text) {
        return [text](const QVariant &current) { return QVariant(current.toStringList() << text); };
    };
    one.registerDefaults({{u"list"_s, QStringList{u"registered"_s}}});
    one.updateObject(u"list"_s, append(u"a"_s));
    two.updateObject(u"list"_s, append(u"b"_s));
    EXPECT_EQ(two.stringArrayForKey(u"list"_s), QStringList(u"b"_s));
    EXPECT_TRUE(one.synchronize());
    EXPECT_TRUE(two.synchronize());
    two.updateObject(u"list"_s, append(u"c"_s));
    two.updateObject(u"list"_s, append(u"d"_s));
    EXPECT_TRUE(two.synchronize());
    EXPECT_TRUE(two.synchronize()) << "nothing is done twice";
    EXPECT_EQ(two.stringArrayForKey(u"list"_s), (QStringList{u"registered"_s, u"a"_s, u"b"_s, u"c"_s, u"d"_s}));
    two.setObject(QStringList(u"anew"_s), u"list"_s);
    two.updateObject(u"list"_s, append(u"e"_s));
    EXPECT_TRUE(two.synchronize());
    EXPECT_EQ(stored()[u"list"_s].toStringList(), (QStringList{u"anew"_s, u"e"_s}));
    EXPECT_TRUE(one.updateObject(
        u"list"_s, [](const QVariant &) { return QVariant(); }, u"test"_s));
    EXPECT_TRUE(stored().isEmpty());
    EXPECT_THROW(two.updateObject(u"list"_s, [](const QVariant &) { return QVariant(QUrl(u"x:"_s)); }),
                 VXAssertionException);
}

TEST_F(VXUserDefaultsTest, TwoProcessesLoseNothingOfEachOther)
{
    constexpr int keys = 150;
    const auto write = [this](const QString &prefix) {
        VXUserDefaults defaults(u"test"_s, folder());
        for (int number = 0; number < keys; ++number) {
            const QString key = prefix + QString::number(number);
            defaults.setObject(number, key);
            defaults.updateObject(u"list"_s, [key](const QVariant &list) { return list.toStringList() << key; });
            if (!defaults.synchronize())
                return false;
        }
        return true;
    };
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(write(u"child"_s) ? 0 : 1);
    EXPECT_TRUE(write(u"parent"_s));
    int status = 1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(stored().size(), 2 * keys + 1);
    EXPECT_EQ(stored()[u"list"_s].toStringList().size(), 2 * keys);
}

TEST_F(VXUserDefaultsTest, ADamagedFileIsSetAsideAndNothingOfItIsLost)
{
    const VXDiagnosticRecorder recorder;
    const std::pair<QByteArray, QString> cases[] = {
        {"<plist><dict><key>a</key>", u"test.plist.damaged"_s}, // cut off
        {"bplist00 but not really", u"test.plist.damaged.1"_s},
        {"<plist version=\"1.0\"><string>no dictionary</string></plist>", u"test.plist.damaged.2"_s},
        {"", u"test.plist.damaged.3"_s},
    };
    for (const auto &[contents, aside] : cases) {
        writeFile(u"Preferences/test.plist"_s, contents);
        VXUserDefaults defaults(u"test"_s, folder());
        EXPECT_FALSE(defaults.objectForKey(u"a"_s).isValid());
        EXPECT_EQ(readFile(folder() + u'/' + aside), contents);
        defaults.setObject(5, u"new"_s);
        EXPECT_TRUE(defaults.synchronize());
        EXPECT_EQ(stored(), (QVariantMap{{u"new"_s, 5}}));
    }
    ASSERT_EQ(recorder.texts().size(), std::ssize(cases));
    EXPECT_TRUE(recorder.texts().first().contains(folder() + u"/test.plist.damaged"_s));
}

TEST_F(VXUserDefaultsTest, AFileDamagedWhileRunningIsSetAsideBeforeItIsWrittenAgain)
{
    const VXDiagnosticRecorder recorder;
    VXUserDefaults defaults(u"test"_s, folder());
    defaults.setObject(1, u"before"_s);
    EXPECT_TRUE(defaults.synchronize());
    writeFile(u"Preferences/test.plist"_s, "garbage");
    defaults.setObject(2, u"after"_s);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(readFile(file() + u".damaged"_s), QByteArray("garbage"));
    EXPECT_EQ(defaults.integerForKey(u"after"_s), 2);
}

TEST_F(VXUserDefaultsTest, AFailedWriteKeepsTheChangesAndTheOldFile)
{
    writeFile(u"occupied"_s, "a file where the folder should be");
    const VXDiagnosticRecorder recorder;
    {
        VXUserDefaults defaults(u"test"_s, path(u"occupied"_s));
        defaults.setObject(1, u"a"_s);
        VXError error;
        EXPECT_FALSE(defaults.synchronize(&error));
        EXPECT_EQ(error.localizedDescription(), u"Unable to write preferences."_s);
        EXPECT_EQ(defaults.integerForKey(u"a"_s), 1);
        QFile::remove(path(u"occupied"_s));
        EXPECT_TRUE(defaults.synchronize(&error)) << error.description().toStdString();
    }
    EXPECT_EQ(readFile(path(u"occupied/test.plist"_s)).contains("<key>a</key>"), true);
}

TEST_F(VXUserDefaultsTest, NobodyElseMayReadThem)
{
    const auto permissions = [](const QString &item) { return QFile::permissions(item) & ~QFile::Permissions(0x7000); };
    writeFile(u"Preferences/test.plist"_s, "<plist><dict/></plist>"); // of an earlier version
    QFile::setPermissions(file(), QFile::Permissions(0x6044));
    VXUserDefaults defaults(u"test"_s, folder());
    defaults.setObject(1, u"a"_s);
    EXPECT_TRUE(defaults.synchronize());
    for (const QString &item : {folder(), file(), file() + u".lock"_s})
        EXPECT_EQ(permissions(item) & QFile::Permissions(0x77), QFile::Permissions()) << item.toStdString();
}

TEST_F(VXUserDefaultsTest, OtherDomainsAreReadAnewAndNamedCarefully)
{
    VXUserDefaults defaults(u"test"_s, folder());
    VXError error;
    EXPECT_TRUE(defaults.setPersistentDomain({{u"a"_s, 1}, {u"b"_s, 2}}, u"com.example"_s, &error));
    EXPECT_TRUE(defaults.setPersistentDomain({{u"b"_s, 3}}, u"com.example"_s, &error));
    EXPECT_EQ(defaults.persistentDomainForName(u"com.example"_s), (QVariantMap{{u"b"_s, 3}}));
    EXPECT_TRUE(
        VXPropertyList::toFile(QVariantMap{{u"c"_s, 4}}, file(u"com.example"_s), VXPropertyList::Format::Binary));
    EXPECT_EQ(defaults.persistentDomainForName(u"com.example"_s), (QVariantMap{{u"c"_s, 4}}))
        << "what another program wrote";
    EXPECT_TRUE(defaults.removePersistentDomainForName(u"com.example"_s));
    EXPECT_FALSE(QFile::exists(file(u"com.example"_s)));

    for (const QString &name :
         {u"../evil"_s, u".hidden"_s, u""_s, QString(300, u'x'), u"a\0b"_s, QString(QChar(0xd800))}) {
        EXPECT_FALSE(defaults.setPersistentDomain({{u"a"_s, 1}}, name, &error)) << name.toStdString();
        EXPECT_EQ(error.code(), static_cast<int>(VXPlatformErrorCode::InvalidValue));
        EXPECT_TRUE(defaults.persistentDomainForName(name).isEmpty());
    }
}

TEST_F(VXUserDefaultsTest, SwitchesFollowEveryChange)
{
    VXUserDefaults defaults(u"test"_s, folder());
    const VXLiveSwitch follower(defaults, u"debug.PLUG"_s);
    EXPECT_FALSE(follower.isOn());
    defaults.registerDefaults({{u"debug.PLUG"_s, true}});
    EXPECT_TRUE(follower.isOn());
    defaults.setObject(false, u"debug.PLUG"_s);
    EXPECT_FALSE(follower.isOn());
    defaults.removeObjectForKey(u"debug.PLUG"_s);
    EXPECT_TRUE(follower.isOn());
    EXPECT_TRUE(defaults.setPersistentDomain({{u"debug.PLUG"_s, false}}, u"test"_s));
    EXPECT_FALSE(follower.isOn());
    EXPECT_TRUE(VXPropertyList::toFile(QVariantMap{}, file(), VXPropertyList::Format::XML));
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_TRUE(follower.isOn()) << "a change by another process";
}

TEST_F(VXUserDefaultsTest, ReadersAndWritersOfManyThreads)
{
    VXUserDefaults defaults(u"test"_s, folder());
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&defaults, thread] {
            for (int round = 0; round < 50; ++round) {
                defaults.setObject(round, u"key%1"_s.arg(thread));
                EXPECT_EQ(defaults.integerForKey(u"key%1"_s.arg(thread)), round);
                if (round % 10 == 0) {
                    EXPECT_TRUE(defaults.synchronize());
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(stored().size(), 4);
}

TEST_F(VXUserDefaultsTest, TheStandardDefaultsAreSavedWhenIdleAndFollowOtherProcesses)
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    defaults.setObject(u"value"_s, u"key"_s);
    const auto saved = [] {
        const QDir folder(VXUserDefaults::preferencesFolder());
        return !folder.entryList({u"*.plist"_s}, QDir::Files).isEmpty();
    };
    EXPECT_FALSE(saved());
    EXPECT_TRUE(VXRunUntil(saved));

    const QFileInfo kept = QDir(VXUserDefaults::preferencesFolder()).entryInfoList({u"*.plist"_s}).constFirst();
    const VXLiveSwitch follower(defaults, u"debug.PLUG"_s);
    QStringList changedKeys;
    QObject context;
    VXNotificationCenter::defaultCenter().addObserver(
        &context, VXUserDefaultsDidChangeNotification,
        [&](const VXNotification &notification) { changedKeys.append(notification.object.toString()); });
    const auto write = [&kept](const QVariant &value) {
        const pid_t child = ::fork();
        if (child == 0) {
            VXUserDefaults others(kept.completeBaseName(), kept.path());
            others.setObject(value, u"debug.PLUG"_s);
            ::_exit(others.synchronize() ? 0 : 1);
        }
        int status = 1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    };
    write(true);
    EXPECT_TRUE(VXRunUntil([&] { return follower.isOn(); }));
    write({});
    EXPECT_TRUE(VXRunUntil([&] { return !follower.isOn(); }));
    EXPECT_EQ(changedKeys, QStringList(2, u"debug.PLUG"_s));

    // Written into as some editors do, and caught in the midst.
    const QByteArray before = readFile(kept.filePath());
    const auto put = [&kept](const QByteArray &bytes) {
        QFile file(kept.filePath());
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size());
    };
    put(before.first(before.size() / 2));
    QCoreApplication::processEvents();
    EXPECT_EQ(defaults.stringForKey(u"key"_s), u"value"_s);
    put(QByteArray(before).replace("<string>value</string>", "<string>edited</string>"));
    EXPECT_TRUE(VXRunUntil([&] { return defaults.stringForKey(u"key"_s) == u"edited"_s; }));
    EXPECT_FALSE(QFile::exists(kept.filePath() + ".damaged"_L1));
}
