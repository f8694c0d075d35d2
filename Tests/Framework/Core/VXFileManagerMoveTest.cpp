#include "VXFileManagerTesting.h"

#include <QtCore/QScopeGuard>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::IsEmpty;

/** With a folder on another file system. */
class VXFileManagerMoveTest : public VXFileManagerHomeTest
{
protected:
    VXFileManagerMoveTest() : other(u"/dev/shm/vornix-test.XXXXXX"_s) {}
    void SetUp() override
    {
        if (!other.isValid() || statusOf(path()).st_dev == statusOf(other.path()).st_dev)
            GTEST_SKIP() << "needs a second file system at /dev/shm";
    }

    QTemporaryDir other;
};

TEST_F(VXFileManagerMoveTest, MovesWholeTrees)
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
        const struct stat status = statusOf(item);
        EXPECT_EQ(status.st_mode & 07777U, item.endsWith(u"sub"_s) ? 0755U : 0500U);
        EXPECT_EQ(status.st_mtim.tv_sec, 1'100'000'000);
        EXPECT_EQ(status.st_mtim.tv_nsec, 7);
    }
    EXPECT_EQ(readFile(moved + u"/link"_s), "#!/bin/sh\n");
    EXPECT_TRUE(QFileInfo(moved + u"/dangling"_s).isSymLink());
}

TEST_F(VXFileManagerMoveTest, RemovesWhatKilledMovesLeftButNothingInUse)
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

TEST_F(VXFileManagerMoveTest, KeepsHolesAndExtendedAttributes)
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
    const struct stat status = statusOf(QFile::decodeName(copy));
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
TEST_F(VXFileManagerMoveTest, WhatMayNotBeRemovedIsNotCopied)
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

TEST_F(VXFileManagerMoveTest, MovesFoldersThatMayNotBeWrittenTo)
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

TEST_F(VXFileManagerMoveTest, TrashesFromAnotherFileSystem)
{
    const QString file = other.filePath(u"far.txt"_s);
    QFile(file).open(QIODevice::WriteOnly);
    EXPECT_TRUE(manager.safelyTrashFileAtPath(file).isNull());
    EXPECT_EQ(trashed(), QStringList{u"far.txt"_s});
    EXPECT_EQ(trashInfos(), QStringList{u"far.txt.trashinfo"_s});
}

TEST_F(VXFileManagerMoveTest, AFailedCopyLeavesNoPartAndTheSource)
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
