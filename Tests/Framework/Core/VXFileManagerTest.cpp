#include "VXFileManager.h"

#include "VXBundle.h"
#include "VXErrorDomain.h"
#include "VXLogRecorder.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QScopeGuard>
#include <QtCore/QUrl>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class VXFileManagerTest : public VXHomeTest
{
protected:
    QString trash(const QString &relative) const { return path(u".local/share/Trash/"_s + relative); }
    QStringList trashed() const { return entries(trash(u"files"_s)); }
    QStringList trashInfos() const { return entries(trash(u"info"_s)); }
    static QStringList entries(const QString &folder)
    {
        return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    /** What an operation writes to the console. */
    template <class Operation>
    static std::string console(Operation operation)
    {
        testing::internal::CaptureStderr();
        operation();
        return testing::internal::GetCapturedStderr();
    }

    VXFileManager manager;
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
    struct stat status
    {
    };
    ASSERT_EQ(::stat(QFile::encodeName(first).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_TRUE(manager.createUniqueTemporaryFolder({}).isNull());

    EXPECT_TRUE(manager.createUniqueTemporaryFolder(u"../escaped"_s).isNull());
    qputenv("TMPDIR", QFile::encodeName(writeFile(u"plain"_s, {})));
    EXPECT_TRUE(manager.createUniqueTemporaryFolder(u"import"_s).isNull());
    qunsetenv("TMPDIR");
}

TEST_F(VXFileManagerTest, TrashingReplacesNothing)
{
    writeFile(u".local/share/Trash/files/a.txt"_s, "first");
    writeFile(u".local/share/Trash/files/a.txt.1"_s, "second");
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    EXPECT_TRUE(manager.safelyTrashFileAtPath(writeFile(u"ä %.d/a.txt"_s, "third")).isNull());
    EXPECT_EQ(readFile(trash(u"files/a.txt"_s)), "first");
    EXPECT_EQ(readFile(trash(u"files/a.txt.2"_s)), "third");
    EXPECT_FALSE(QFileInfo::exists(path(u"ä %.d/a.txt"_s)));

    const QList<QByteArray> info = readFile(trash(u"info/a.txt.2.trashinfo"_s)).split('\n');
    ASSERT_EQ(info.size(), 4);
    EXPECT_EQ(info[0], "[Trash Info]");
    EXPECT_EQ(info[1], "Path=" + QFile::encodeName(path()) + "/%C3%A4%20%25.d/a.txt");
    const QDateTime deleted =
        QDateTime::fromString(QString::fromLatin1(info[2]), u"'DeletionDate='yyyy-MM-ddThh:mm:ss");
    EXPECT_TRUE(deleted >= before && deleted <= QDateTime::currentDateTime());

    // A name is taken too when only its info is there.
    writeFile(u".local/share/Trash/info/b.trashinfo"_s, "[Trash Info]\n");
    EXPECT_TRUE(manager.safelyTrashFileAtPath(writeFile(u"b"_s, "b")).isNull());
    EXPECT_EQ(trashed(), (QStringList{u"a.txt"_s, u"a.txt.1"_s, u"a.txt.2"_s, u"b.1"_s}));
}

TEST_F(VXFileManagerTest, TrashingTakesLinksAndFoldersAsTheyAre)
{
    writeFile(u"folder/inner"_s, "x");
    ASSERT_TRUE(QFile::link(path(u"folder"_s), path(u"link"_s)));
    ASSERT_TRUE(QFile::link(path(u"nowhere"_s), path(u"dangling"_s)));
    EXPECT_TRUE(manager.safelyTrashFileAtPath(path(u"link/"_s)).isNull());
    EXPECT_TRUE(manager.safelyTrashFileAtPath(path(u"dangling"_s)).isNull());
    EXPECT_TRUE(QFileInfo(trash(u"files/link"_s)).isSymLink());
    EXPECT_EQ(QFileInfo(trash(u"files/dangling"_s)).symLinkTarget(), path(u"nowhere"_s));
    EXPECT_EQ(readFile(path(u"folder/inner"_s)), "x");
    EXPECT_TRUE(manager.safelyTrashFileAtPath(path(u"folder"_s)).isNull());
    EXPECT_EQ(readFile(trash(u"files/folder/inner"_s)), "x");
    // A dangling link in the trash holds its name.
    EXPECT_TRUE(manager.safelyTrashFileAtPath(writeFile(u"dangling"_s, "new")).isNull());
    EXPECT_EQ(readFile(trash(u"files/dangling.1"_s)), "new");
}

TEST_F(VXFileManagerTest, TrashesTheLongestNames)
{
    const QString longest = u"ä"_s.repeated(127) + u'n'; // 255 bytes
    const QString shortened = u"ä"_s.repeated(122);      // what leaves room for ".trashinfo"
    for (const QString &expected : {shortened, u"ä"_s.repeated(121) + u".1"_s}) {
        EXPECT_TRUE(manager.safelyTrashFileAtPath(writeFile(longest, "x")).isNull());
        EXPECT_TRUE(trashed().contains(expected));
        EXPECT_THAT(readFile(trash(u"info/"_s + expected + u".trashinfo"_s)).toStdString(),
                    HasSubstr(QUrl::toPercentEncoding(longest).toStdString()));
    }
}

TEST_F(VXFileManagerTest, TheTrashKnowsWhereAnItemReallyLay)
{
    writeFile(u"real/sub/file"_s, "x");
    writeFile(u"real/file"_s, "y");
    ASSERT_TRUE(QFile::link(path(u"real/sub"_s), path(u"link"_s)));
    EXPECT_TRUE(manager.safelyTrashFileAtPath(path(u"link/../file"_s)).isNull());
    EXPECT_EQ(readFile(trash(u"files/file"_s)), "y");
    const QByteArray real = QFile::encodeName(QFileInfo(path()).canonicalFilePath()) + "/real/file";
    EXPECT_EQ(readFile(trash(u"info/file.trashinfo"_s)).split('\n').value(1), "Path=" + real);
}

TEST_F(VXFileManagerTest, FailedTrashingKeepsTheItemAndSaysWhy)
{
    for (const QString &bad : {path(u"missing"_s), QString(), u"/"_s, path(u".."_s), path(u".local/share/."_s)}) {
        const VXError error = manager.safelyTrashFileAtPath(bad);
        EXPECT_EQ(error.domain(), VXErrorDomain) << bad.toStdString();
        EXPECT_EQ(error.code(), 1);
        EXPECT_EQ(error.localizedDescription(), u"Unable to move file or folder."_s);
        EXPECT_FALSE(error.localizedRecoverySuggestion().isEmpty());
        EXPECT_EQ(error.filePath(), bad);
        EXPECT_EQ(VXFileManager::lastError(), error);
    }
    const VXLogRecorder log;
    EXPECT_FALSE(manager.safelyTrashFileAtPath(path(u".local"_s)).isNull()); // the trash itself lies below
    EXPECT_EQ(log.count(u"Unable to move "_s + path(u".local"_s)), 1) << log.lines().join(u'\n').toStdString();
    EXPECT_FALSE(manager.safelyTrashFileAtPath(path(u"missing"_s)).isNull());
    EXPECT_EQ(log.count(u"Unable to trash "_s + path(u"missing"_s)), 1);
    EXPECT_THAT(trashInfos(), IsEmpty());

    const QString file = writeFile(u"kept"_s, "kept");
    qputenv("XDG_DATA_HOME", QFile::encodeName(file)); // no folder can be made below a file
    EXPECT_FALSE(manager.safelyTrashFileAtPath(file).isNull());
    EXPECT_EQ(readFile(file), "kept");

    VXSetHomeFolder(path());
    EXPECT_TRUE(manager.safelyTrashFileAtPath(file).isNull());
    EXPECT_TRUE(VXFileManager::lastError().isNull());
}

TEST_F(VXFileManagerTest, ManyTrashAtOnceAndNothingIsLost)
{
    constexpr int threads = 4;
    constexpr int each = 40;
    for (int thread = 0; thread < threads; ++thread) {
        for (int item = 0; item < each; ++item)
            writeFile(u"%1/%2/same"_s.arg(thread).arg(item), QByteArray::number(thread * each + item));
    }
    std::atomic<int> failures = 0;
    std::vector<std::thread> workers;
    for (int thread = 0; thread < threads; ++thread) {
        workers.emplace_back([this, thread, &failures] {
            VXFileManager own; // a lock of its own, as another process has
            for (int item = 0; item < each; ++item) {
                if (own.safelyTrashFileAtPath(path(u"%1/%2/same"_s.arg(thread).arg(item))))
                    ++failures;
            }
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    EXPECT_EQ(failures, 0);
    QSet<QByteArray> contents;
    for (const QString &name : trashed())
        contents.insert(readFile(trash(u"files/"_s + name)));
    EXPECT_EQ(contents.size(), threads * each);
    EXPECT_EQ(trashInfos().size(), threads * each);
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

/** With a folder on another file system. */
class VXFileManagerAcrossTest : public VXFileManagerTest
{
protected:
    VXFileManagerAcrossTest() : other(u"/dev/shm/vornix-test.XXXXXX"_s) {}
    void SetUp() override
    {
        struct stat here
        {
        };
        struct stat there
        {
        };
        if (!other.isValid() || ::stat(QFile::encodeName(path()).constData(), &here) != 0 ||
            ::stat(QFile::encodeName(other.path()).constData(), &there) != 0 || here.st_dev == there.st_dev)
            GTEST_SKIP() << "needs a second file system at /dev/shm";
    }

    QTemporaryDir other;
};

TEST_F(VXFileManagerAcrossTest, MovesWholeTrees)
{
    const QString script = writeFile(u"tree/sub/script"_s, "#!/bin/sh\n");
    ASSERT_TRUE(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
    const timespec times[2] = {{1'000'000'000, 5}, {1'100'000'000, 7}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(script).constData(), times, 0), 0);
    ASSERT_TRUE(QFile::link(u"sub/script"_s, path(u"tree/link"_s)));
    ASSERT_TRUE(QFile::link(u"/nowhere/at/all"_s, path(u"tree/dangling"_s)));
    ASSERT_EQ(::mkfifo(QFile::encodeName(path(u"tree/fifo"_s)).constData(), 0600), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path(u"tree/sub"_s)).constData(), times, 0), 0);

    const QString moved = other.filePath(u"moved"_s);
    ASSERT_TRUE(manager.moveItemAtPath(path(u"tree/"_s), moved).isNull())
        << VXFileManager::lastError().description().toStdString();
    EXPECT_FALSE(QFileInfo::exists(path(u"tree"_s)));
    EXPECT_EQ(entries(other.path()), QStringList{u"moved"_s});
    EXPECT_EQ(entries(moved), (QStringList{u"dangling"_s, u"fifo"_s, u"link"_s, u"sub"_s}));
    for (const QString &item : {moved + u"/sub"_s, moved + u"/sub/script"_s}) {
        struct stat status
        {
        };
        ASSERT_EQ(::stat(QFile::encodeName(item).constData(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, item.endsWith(u"sub"_s) ? 0755U : 0500U);
        EXPECT_EQ(status.st_mtim.tv_sec, 1'100'000'000);
        EXPECT_EQ(status.st_mtim.tv_nsec, 7);
    }
    EXPECT_EQ(readFile(moved + u"/link"_s), "#!/bin/sh\n");
    EXPECT_TRUE(QFileInfo(moved + u"/dangling"_s).isSymLink());
}

TEST_F(VXFileManagerAcrossTest, RemovesWhatKilledMovesLeftButNothingInUse)
{
    const QString dead = u".vornix-move.000001"_s;
    const QString alive = u".vornix-move.000002"_s;
    for (const QString &name : {dead, alive}) {
        writeFile(name + u"/half"_s, "source");
        ASSERT_TRUE(QDir(other.path()).mkpath(name + u"/half"_s));
    }
    QList<int> locks;
    for (const QString &path : {path(alive), other.filePath(alive)}) {
        locks.append(::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY));
        ASSERT_EQ(::flock(locks.last(), LOCK_EX), 0);
    }
    writeFile(u"tree/file"_s, "text");
    ASSERT_TRUE(manager.moveItemAtPath(path(u"tree"_s), other.filePath(u"moved"_s)).isNull());
    for (const QString &folder : {path(), other.path()}) {
        EXPECT_FALSE(QFileInfo::exists(folder + u'/' + dead)) << folder.toStdString();
        EXPECT_TRUE(QFileInfo::exists(folder + u'/' + alive + u"/half"_s)) << folder.toStdString();
    }
    std::ranges::for_each(locks, ::close);
}

TEST_F(VXFileManagerAcrossTest, KeepsHolesAndExtendedAttributes)
{
    const QString file = writeFile(u"tree/sparse"_s, "begin");
    const QByteArray name = QFile::encodeName(file);
    QFile sparse(file);
    ASSERT_TRUE(sparse.open(QIODevice::ReadWrite));
    ASSERT_TRUE(sparse.seek(64 << 20));
    sparse.write("middle");
    ASSERT_TRUE(sparse.resize(128 << 20));
    sparse.close();
    const bool hasAttributes = ::setxattr(name.constData(), "user.note", "kept", 4, 0) == 0;

    const QString moved = other.filePath(u"moved"_s);
    ASSERT_TRUE(manager.moveItemAtPath(path(u"tree"_s), moved).isNull());
    const QByteArray copy = QFile::encodeName(moved + u"/sparse"_s);
    struct stat status
    {
    };
    ASSERT_EQ(::stat(copy.constData(), &status), 0);
    EXPECT_EQ(status.st_size, 128 << 20);
    EXPECT_LT(status.st_blocks * 512, 1 << 20) << "holes were filled";
    QFile there(moved + u"/sparse"_s);
    ASSERT_TRUE(there.open(QIODevice::ReadOnly));
    EXPECT_EQ(there.read(6), QByteArray("begin\0", 6));
    ASSERT_TRUE(there.seek((64 << 20) - 1));
    EXPECT_EQ(there.read(8), QByteArray("\0middle\0", 8));
    char value[8]{};
    const bool thereToo = ::setxattr(copy.constData(), "user.other", "x", 1, 0) == 0;
    EXPECT_TRUE(!hasAttributes || !thereToo ||
                (::getxattr(copy.constData(), "user.note", value, sizeof value) == 4 && QByteArray(value) == "kept"));
}

// Root, whom permissions do not stop, becomes somebody else meanwhile.
TEST_F(VXFileManagerAcrossTest, WhatMayNotBeRemovedIsNotCopied)
{
    writeFile(u"open/tree/closed/inner"_s, "x");
    writeFile(u"closed/file"_s, "x");
    const QString whole = other.filePath(u"read-only"_s);
    ASSERT_TRUE(QDir().mkdir(whole));
    ASSERT_TRUE(QFile(whole + u"/inner"_s).open(QIODevice::WriteOnly));
    ASSERT_EQ(::chmod(QFile::encodeName(other.path()).constData(), 0777), 0);
    for (const QString &folder : {u""_s, u"open"_s, u"open/tree"_s})
        ASSERT_EQ(::chmod(QFile::encodeName(path(folder)).constData(), 0777), 0);
    for (const QString &folder : {path(u"open/tree/closed"_s), path(u"closed"_s), whole})
        ASSERT_EQ(::chmod(QFile::encodeName(folder).constData(), 0555), 0);
    const bool isRoot = ::geteuid() == 0;
    ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
    const auto back = qScopeGuard([isRoot] { EXPECT_TRUE(!isRoot || ::seteuid(0) == 0); });

    for (const QString &item : {u"open/tree"_s, u"closed/file"_s}) {
        EXPECT_EQ(manager.moveItemAtPath(path(item), other.filePath(u"moved"_s)).localizedRecoverySuggestion(),
                  qt_error_string(EACCES));
        EXPECT_EQ(entries(other.path()), QStringList{u"read-only"_s}) << item.toStdString();
        EXPECT_TRUE(QFileInfo::exists(path(item)));
    }
    if (!isRoot) {
        EXPECT_FALSE(manager.moveItemAtPath(whole, path(u"moved"_s)).isNull());
        EXPECT_EQ(entries(whole), QStringList{u"inner"_s});
    }
}

TEST_F(VXFileManagerAcrossTest, MovesFoldersThatMayNotBeWrittenTo)
{
    ASSERT_EQ(::chmod(QFile::encodeName(path()).constData(), 0777), 0);
    ASSERT_EQ(::chmod(QFile::encodeName(other.path()).constData(), 0777), 0);
    const bool isRoot = ::geteuid() == 0;
    ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
    const auto back = qScopeGuard([isRoot] { EXPECT_TRUE(!isRoot || ::seteuid(0) == 0); });
    ASSERT_TRUE(QDir().mkdir(path(u"empty"_s)));
    ASSERT_EQ(::chmod(QFile::encodeName(path(u"empty"_s)).constData(), 0555), 0);
    EXPECT_TRUE(manager.moveItemAtPath(path(u"empty"_s), other.filePath(u"moved"_s)).isNull());
    EXPECT_EQ(entries(other.path()), QStringList{u"moved"_s});
    EXPECT_FALSE(QFileInfo(other.filePath(u"moved"_s)).permission(QFile::WriteOwner));
}

TEST_F(VXFileManagerAcrossTest, TrashesFromAnotherFileSystem)
{
    const QString file = other.filePath(u"far.txt"_s);
    QFile(file).open(QIODevice::WriteOnly);
    EXPECT_TRUE(manager.safelyTrashFileAtPath(file).isNull());
    EXPECT_EQ(trashed(), QStringList{u"far.txt"_s});
    EXPECT_EQ(trashInfos(), QStringList{u"far.txt.trashinfo"_s});
}

TEST_F(VXFileManagerAcrossTest, AFailedCopyLeavesNoPartAndTheSource)
{
    writeFile(u"tree/a-small"_s, "small");
    writeFile(u"tree/b-large"_s, QByteArray(200'000, 'x'));
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{100'000, before.rlim_max}; // as a full disk, in the middle of the copy
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const VXError error = manager.moveItemAtPath(path(u"tree"_s), other.filePath(u"moved"_s));
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(error.localizedRecoverySuggestion(), qt_error_string(EFBIG));
    EXPECT_THAT(entries(other.path()), IsEmpty());
    EXPECT_EQ(readFile(path(u"tree/a-small"_s)), "small");
    EXPECT_EQ(readFile(path(u"tree/b-large"_s)).size(), 200'000);

    QDir(other.path()).mkdir(u"taken"_s);
    EXPECT_FALSE(manager.moveItemAtPath(path(u"tree"_s), other.filePath(u"taken"_s)).isNull());
    EXPECT_TRUE(QFileInfo::exists(path(u"tree/a-small"_s)));
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
        std::vector<pid_t> processes;
        for (int process = 0; process < 4; ++process) {
            processes.push_back(::fork());
            if (processes.back() == 0) {
                const bool verified = manager.verifyLogFileAtPath(log);
                ::_exit(verified ? 0 : 1);
            }
        }
        for (const pid_t process : processes) {
            int status = -1;
            EXPECT_EQ(::waitpid(process, &status, 0), process);
            EXPECT_EQ(status, 0);
        }
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

} // namespace
