#include "VXAtomicFile.h"
#include "VXOtherProcess.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QScopeGuard>

#include <cstring>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class VXAtomicFileTest : public VXHomeTest
{
protected:
    static unsigned modeOf(const QString &file)
    {
        struct stat status = {};
        return ::stat(QFile::encodeName(file).constData(), &status) == 0 ? status.st_mode & 07777U : 0;
    }
    static void setMode(const QString &file, unsigned mode)
    {
        EXPECT_EQ(::chmod(QFile::encodeName(file).constData(), mode), 0);
    }
    QStringList names() const { return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }

    const QString file = writeFile(u"folder/file"_s, "old");
    const QString folder = path(u"folder"_s);
    QString reason;
};

TEST_F(VXAtomicFileTest, ReplacesAllOrNothing)
{
    {
        VXAtomicFile writer(file);
        ASSERT_TRUE(writer.open());
        EXPECT_EQ(writer.write(QByteArray(200'000, 'x')), 200'000);
        EXPECT_EQ(readFile(file), "old");
    }
    EXPECT_EQ(readFile(file), "old") << "never committed";
    EXPECT_EQ(names(), QStringList(u"file"_s));
    VXAtomicFile writer(file);
    ASSERT_TRUE(writer.open());
    EXPECT_EQ(writer.write("new"), 3);
    ASSERT_TRUE(writer.prepare());
    const VXFileStamp stamp = writer.stamp();
    EXPECT_TRUE(writer.commit());
    EXPECT_FALSE(writer.commit()) << "once";
    EXPECT_EQ(readFile(file), "new");
    EXPECT_EQ(VXFileStamp::ofPath(file), stamp);
    EXPECT_EQ(names(), QStringList(u"file"_s));
}

TEST_F(VXAtomicFileTest, WhatKilledProcessesLeftGoesAndNothingElse)
{
    const auto beginReplacing = [this] {
        auto writer = std::make_unique<VXAtomicFile>(file);
        return writer->open() && writer->write("half") == 4 ? std::move(writer) : nullptr;
    };
    VXOtherProcess working(beginReplacing);
    const QStringList inUse = names();
    VXOtherProcess killed(beginReplacing);
    ASSERT_TRUE(working.isReady() && killed.isReady());
    killed.kill();
    QStringList kept = inUse;
    for (const QString &name :
         {u".vornix-move.000000000"_s, u".vornix-0123456789abcde"_s, u"vornix-0123456789abcdef"_s})
        kept.append(QFileInfo(writeFile(u"folder/"_s + name, {})).fileName());
    kept.sort();
    EXPECT_EQ(names().size(), kept.size() + 1);
    EXPECT_TRUE(VXAtomicFile::replace(file, "new", &reason)) << reason.toStdString();
    QStringList now = names();
    now.sort();
    EXPECT_EQ(now, kept);
}

TEST_F(VXAtomicFileTest, WhoMayReadIsSaidByThePolicy)
{
    const struct
    {
        VXFileAccess access;
        unsigned before, after; // 0: no file before
    } cases[] = {
        {VXFileAccess::Private, 0, 0600},   {VXFileAccess::Private, 0644, 0600}, {VXFileAccess::Shared, 0, 0644},
        {VXFileAccess::Shared, 0640, 0640}, {VXFileAccess::Shared, 0600, 0600},  {VXFileAccess::Shared, 04777, 0777},
    };
    const mode_t mask = ::umask(022);
    for (const auto &[access, before, after] : cases) {
        QFile::remove(file);
        if (before != 0) {
            writeFile(u"folder/file"_s, "old");
            setMode(file, before);
        }
        EXPECT_TRUE(VXAtomicFile::replace(file, "new", &reason, access)) << reason.toStdString();
        EXPECT_EQ(modeOf(file), after);
    }
    ::umask(mask);
}

TEST_F(VXAtomicFileTest, LinksAreFollowedAndStay)
{
    ASSERT_TRUE(QFile::link(u"../folder/second"_s, folder + u"/first"_s));
    ASSERT_TRUE(QFile::link(u"file"_s, folder + u"/second"_s));
    EXPECT_TRUE(VXAtomicFile::replace(folder + u"/first"_s, "new", &reason)) << reason.toStdString();
    EXPECT_EQ(readFile(file), "new");
    EXPECT_TRUE(QFile::remove(file));
    EXPECT_TRUE(VXAtomicFile::replace(folder + u"/first"_s, "made", &reason)) << reason.toStdString();
    EXPECT_EQ(readFile(file), "made") << "where a link leads to that led nowhere";
    EXPECT_TRUE(QFileInfo(folder + u"/first"_s).isSymLink());
    ASSERT_TRUE(QFile::link(u"loop"_s, folder + u"/loop"_s));
    EXPECT_FALSE(VXAtomicFile::replace(folder + u"/loop"_s, "x", &reason));
}

TEST_F(VXAtomicFileTest, RefusalsLeaveNothingBehind)
{
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder + u"/pipe"_s).constData(), 0600), 0);
    writeFile(u"folder/locked/file"_s, "old");
    writeFile(u"folder/fixed"_s, "old");
    setMode(folder, 0755);
    setMode(path(), 0755);
    setMode(folder + u"/fixed"_s, 0444);
    setMode(folder + u"/locked"_s, 0555);
    const QStringList before = names();
    const bool isRoot = ::geteuid() == 0 && ::seteuid(65534) == 0;
    for (const auto *name : {"", "/none/file", "/pipe", "/file/below", "/fixed", "/locked/file"}) {
        reason.clear();
        EXPECT_FALSE(VXAtomicFile::replace(folder + QLatin1StringView(name), "new", &reason)) << name;
        EXPECT_FALSE(reason.isEmpty()) << name;
    }
    EXPECT_TRUE(!isRoot || ::seteuid(0) == 0);
    EXPECT_EQ(names(), before);
    EXPECT_EQ(QDir(folder + u"/locked"_s).entryList(QDir::Files | QDir::Hidden), QStringList(u"file"_s));
    setMode(folder + u"/locked"_s, 0755);
}

TEST_F(VXAtomicFileTest, AFullDiskIsTold)
{
    // What is mounted in a name space of its own goes with the process.
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", folder.toUtf8().constData(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "a disk of limited size cannot be mounted: " << std::strerror(errno);
    const auto unmount = qScopeGuard([this] { ::umount2(folder.toUtf8().constData(), MNT_DETACH); });
    ASSERT_TRUE(VXAtomicFile::replace(file, "old", &reason));
    for (const int size : {1, 100'000, 1'000'000}) { // kept in a buffer, or not
        QFile filler(folder + u"/filler"_s);
        ASSERT_TRUE(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'x')) > 0)
            continue;
        EXPECT_FALSE(VXAtomicFile::replace(file, QByteArray(size, 'n'), &reason)) << size;
        EXPECT_EQ(reason, qt_error_string(ENOSPC));
        EXPECT_EQ(readFile(file), "old");
        EXPECT_EQ(names(), (QStringList{u"file"_s, u"filler"_s}));
    }
}
