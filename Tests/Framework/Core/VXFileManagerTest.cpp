#include "VXBundle.h"
#include "VXErrorDomain.h"
#include "VXFileManagerTesting.h"
#include "VXOtherProcess.h"

#include <QtCore/QUrl>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

class VXFileManagerTest : public VXFileManagerHomeTest
{
protected:
    /** What an operation writes to the console. */
    template <class Operation>
    static std::string console(Operation operation)
    {
        testing::internal::CaptureStderr();
        operation();
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(VXFileManagerTest, FindsTheWellKnownFolders)
{
    EXPECT_EQ(manager.pathToLocalApplicationsFolder(), u"/usr/local/share/applications"_s);
    EXPECT_EQ(manager.pathToLocalVNXApplicationSupportFolder(), u"/usr/local/share/Vornix 2"_s);
    EXPECT_EQ(manager.pathToUserVNXApplicationSupportFolder(), path(u".local/share/Vornix 2"_s));
    EXPECT_EQ(manager.pathToUserDesktopFolder(), path(u"Desktop"_s));
    EXPECT_EQ(manager.pathToUserMetadataFolder(), path(u".cache/Metadata/Vornix 2"_s));
    EXPECT_EQ(manager.pathToUserTrashFolder(), trash(u"files"_s));
    // Also without a bundle identifier never the folder that all applications share.
    EXPECT_EQ(QFileInfo(manager.pathToUserCachedDataFolder()).path(), path(u".cache"_s));
}

TEST_F(VXFileManagerTest, AssertsThatAFolderIsFound)
{
    const auto reason = [this](VXFolderType type, VXFolderDomain domain) {
        return VXReasonOfAssertion([&] { static_cast<void>(manager.pathToFolder(type, domain)); });
    };
    EXPECT_EQ(reason(VXFolderType::Desktop, VXFolderDomain::Local),
              u"Unable to find folder 0x6465736B/0xFFFF8003: -43"_s);
    qputenv("XDG_CACHE_HOME", '/' + QByteArray(2000, 'x'));
    EXPECT_EQ(reason(VXFolderType::Caches, VXFolderDomain::User),
              u"Unable to make path from folder 0x63616368/0xFFFF8005: -2110"_s);
    qputenv("XDG_CACHE_HOME", "/tmp");
    EXPECT_EQ(reason(VXFolderType::Caches, VXFolderDomain::User),
              u"Invalid path to folder 0x63616368/0xFFFF8005: \"/tmp\""_s);
}

TEST_F(VXFileManagerTest, VerifyPathExistsMakesWhatIsMissing)
{
    EXPECT_TRUE(manager.verifyPathExists(path(u"one/two//three/"_s)).isNull());
    EXPECT_TRUE(QFileInfo(path(u"one/two/three"_s)).isDir());
    ASSERT_TRUE(QFile::link(path(u"one"_s), path(u"link"_s)));
    EXPECT_TRUE(manager.verifyPathExists(path(u"link/two"_s)).isNull());
    EXPECT_EQ(entries(path()), (QStringList{u"link"_s, u"one"_s}));

    const QString file = writeFile(u"one/file"_s, "kept");
    const VXError error = manager.verifyPathExists(file + u"/below/deeper"_s);
    EXPECT_EQ(error, VXError(VXURLErrorDomain, -3000,
                             {{VXLocalizedDescriptionKey, u"Could not create folder."_s},
                              {VXFailingURLErrorKey, QUrl::fromLocalFile(file)},
                              {u"Path"_s, file}}));
    EXPECT_EQ(error.filePath(), file); // which is told
    EXPECT_EQ(readFile(file), "kept");
}

TEST_F(VXFileManagerTest, TemporaryFoldersAreUniqueAndPrivate)
{
    qputenv("TMPDIR", QFile::encodeName(path()));
    const QString first = manager.createUniqueTemporaryFolder(u"import"_s);
    const QString second = manager.createUniqueTemporaryFolder(u"import"_s);
    EXPECT_NE(first, second);
    EXPECT_TRUE(first.startsWith(path(u"import."_s)));
    EXPECT_EQ(first.size(), path(u"import.XXXXXX"_s).size());
    const struct stat status = statusOf(first);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_TRUE(manager.createUniqueTemporaryFolder({}).isNull());

    EXPECT_TRUE(manager.createUniqueTemporaryFolder(u"../escaped"_s).isNull());
    qputenv("TMPDIR", QFile::encodeName(writeFile(u"plain"_s, {})));
    EXPECT_TRUE(manager.createUniqueTemporaryFolder(u"import"_s).isNull());
    qunsetenv("TMPDIR");
}

TEST_F(VXFileManagerTest, MovingNeedsAFreeDestination)
{
    const QString source = writeFile(u"source"_s, "source");
    const QString taken = writeFile(u"taken"_s, "taken");
    const VXError error = manager.moveItemAtPath(source, taken);
    EXPECT_EQ(error.filePath(), source);
    EXPECT_EQ(VXFileManager::lastError(), error);
    EXPECT_EQ(readFile(taken), "taken");
    EXPECT_EQ(readFile(source), "source");
    EXPECT_TRUE(manager.moveItemAtPath(source, path(u"free"_s)).isNull());
    EXPECT_EQ(readFile(path(u"free"_s)), "source");
    EXPECT_TRUE(VXFileManager::lastError().isNull());
    EXPECT_FALSE(manager.shouldProceedAfterError({{u"Error"_s, u"why"_s}, {u"Path"_s, u"/x"_s}}));
    EXPECT_EQ(VXFileManager::lastError(), VXMakeFileError(u"Unable to move file or folder."_s, u"why"_s, u"/x"_s));
}

TEST_F(VXFileManagerTest, LogFilesRotateAboveTwoMegabytes)
{
    const qint64 limit = 2 * 1048576;
    const QString log = path(u"x.log"_s);
    EXPECT_TRUE(manager.verifyLogFileAtPath(log)); // made
    EXPECT_EQ(QFileInfo(log).size(), 0);
    EXPECT_EQ(manager.fileSizeAtPath(path(u"missing"_s)), -1.0F);

    writeFile(u"x.log"_s, QByteArray(limit, 'a'));
    writeFile(u"x.log.1"_s, "old backup");
    EXPECT_EQ(manager.fileSizeAtPath(log), 2.0F);
    EXPECT_TRUE(manager.verifyLogFileAtPath(log));
    EXPECT_EQ(QFileInfo(log).size(), limit);
    EXPECT_EQ(readFile(log + u".1"_s), "old backup");

    writeFile(u"x.log"_s, QByteArray(limit + 1, 'b'));
    EXPECT_TRUE(manager.verifyLogFileAtPath(log));
    EXPECT_EQ(QFileInfo(log).size(), 0);
    EXPECT_EQ(QFileInfo(log + u".1"_s).size(), limit + 1);
}

TEST_F(VXFileManagerTest, ManyProcessesRotateALogOnce)
{
    const QString log = path(u"x.log"_s);
    for (int round = 0; round < 20; ++round) {
        writeFile(u"x.log"_s, QByteArray(2 * 1048576 + 1, 'x'));
        EXPECT_EQ(VXProcessesThatSucceed(4, [&](int) { return manager.verifyLogFileAtPath(log); }), 4);
        ASSERT_EQ(QFileInfo(log + u".1"_s).size(), 2 * 1048576 + 1) << "the backup was lost in round " << round;
        EXPECT_EQ(QFileInfo(log).size(), 0);
    }
}

TEST_F(VXFileManagerTest, LogProblemsGoToTheConsole)
{
    const QByteArray tooLarge(2 * 1048576 + 1, 'x');
    bool verified = true;
    const auto verify = [&](const QString &log) {
        return console([&] { verified = manager.verifyLogFileAtPath(log); });
    };
    EXPECT_THAT(verify(path()), HasSubstr("Log file is not writable: " + path().toStdString()));
    EXPECT_FALSE(verified);
    const QString pipe = path(u"pipe.log"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_THAT(verify(pipe), HasSubstr("Log file is not writable: " + pipe.toStdString()));
    EXPECT_FALSE(verified);
    const QString below = writeFile(u"file"_s, {}) + u"/x.log"_s;
    EXPECT_THAT(verify(below), HasSubstr("Unable to create log file: " + below.toStdString()));
    EXPECT_FALSE(verified);

    const QString blocked = writeFile(u"blocked.log"_s, tooLarge);
    writeFile(u"blocked.log.1/inner"_s, "kept");
    EXPECT_THAT(verify(blocked), HasSubstr("Could not remove backup log: " + blocked.toStdString() + ".1"));
    EXPECT_FALSE(verified);
    EXPECT_EQ(readFile(path(u"blocked.log.1/inner"_s)), "kept");

    const QString longName = writeFile(QString(254, u'n'), tooLarge); // ".1" does not fit behind it
    EXPECT_THAT(verify(longName), HasSubstr("Could not create backup log: " + longName.toStdString() + ".1"));
    EXPECT_TRUE(verified); // the oversized file stays in use
    EXPECT_EQ(QFileInfo(longName).size(), tooLarge.size());
}

TEST_F(VXFileManagerTest, LogsFolderNeedsAHomeAndAName)
{
    EXPECT_THAT(console([&] { EXPECT_TRUE(manager.pathToUserVNXLogsFolder().isNull()); }),
                HasSubstr("Missing value for key CFBundleName in main bundle"));
    qunsetenv("XDG_STATE_HOME");
    qputenv("HOME", "");
    EXPECT_THAT(console([&] { EXPECT_TRUE(manager.pathToUserVNXLogsFolder().isNull()); }),
                HasSubstr("Unable to find logs folder: -43"));

    writeFile(u"Test.app/Contents/Info.plist"_s, "<plist version=\"1.0\"><dict><key>CFBundleName</key>"
                                                 "<string>Tester</string></dict></plist>");
    VXBundle::setMainBundle(VXBundle::bundleWithPath(path(u"Test.app"_s)));
    VXSetHomeFolder(path());
    EXPECT_EQ(manager.pathToUserVNXLogsFolder(), path(u".local/state/Tester"_s));
    EXPECT_TRUE(QFileInfo(path(u".local/state/Tester"_s)).isDir());

    QDir().mkdir(path(u"other"_s));
    qputenv("XDG_STATE_HOME", QFile::encodeName(path(u"other"_s)));
    ASSERT_TRUE(QFile::link(path(u"nowhere/deep"_s), path(u"other/Tester"_s)));
    EXPECT_THAT(console([&] { EXPECT_TRUE(manager.pathToUserVNXLogsFolder().isNull()); }),
                HasSubstr("Unable to create logs folder"));
}
