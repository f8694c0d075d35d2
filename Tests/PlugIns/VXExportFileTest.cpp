// The file under an export: whole or not at all, one export after the other.

#include "VXExportFile.h"

#include "VXOtherProcess.h"
#include "VXPlugInTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <csignal>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using Mode = VXExportFile::Mode;

class VXExportFileTest : public VXHomeTest
{
protected:
    /** Writes and, if told so, commits. @return why it failed. */
    static QString write(const QString &path, Mode mode, const QByteArray &bytes, bool commits = true)
    {
        QString reason;
        const auto file = VXExportFile::open(path, mode, &reason);
        const bool isDone = file && file->write(bytes) && (!commits || file->commit(&reason));
        EXPECT_EQ(isDone, reason.isNull());
        return reason;
    }
    QStringList entries() const { return QDir(path()).entryList(QDir::Files | QDir::Hidden); }
};

TEST_F(VXExportFileTest, AppendsReplacesAndLeavesNothingElseBehind)
{
    const QString file = path(u"a.txt"_s);
    EXPECT_EQ(write(file, Mode::Append, "one\n"), QString());
    EXPECT_EQ(write(file, Mode::Append, "two\n"), QString());
    EXPECT_EQ(readFile(file), QByteArray("one\ntwo\n"));
    ASSERT_EQ(::chmod(qPrintable(file), 0640), 0);
    ASSERT_TRUE(QFile::link(file, path(u"link"_s)));
    EXPECT_EQ(write(path(u"link"_s), Mode::Replace, "three\n"), QString());
    EXPECT_EQ(readFile(file), QByteArray("three\n"));
    EXPECT_TRUE(QFileInfo(path(u"link"_s)).isSymLink());
    struct stat status = {};
    ASSERT_EQ(::stat(qPrintable(file), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(entries(), QStringList({u"a.txt"_s, u"link"_s}));
}

TEST_F(VXExportFileTest, IsAsItWasWithoutCommit)
{
    const QByteArray large(1'000'000, 'x'); // more than is kept in memory
    const QString file = writeFile(u"a.txt"_s, "old");
    for (const Mode mode : {Mode::Append, Mode::Replace}) {
        EXPECT_EQ(write(file, mode, large, false), QString());
        EXPECT_EQ(readFile(file), QByteArray("old"));
        EXPECT_EQ(write(path(u"new"_s), mode, large, false), QString());
        EXPECT_EQ(entries(), QStringList{u"a.txt"_s});
    }
    QString reason;
    {
        const auto open = VXExportFile::open(file, Mode::Append, &reason);
        open->writeFrom(1);
        open->write(large);
    }
    EXPECT_EQ(readFile(file), QByteArray("old"));
}

TEST_F(VXExportFileTest, WhatAKilledProcessLeftIsCutOffByTheNextExport)
{
    const QByteArray large(1'000'000, 'x');
    const auto killWhileWriting = [&](const QString &file, Mode mode, qint64 offset) {
        const pid_t child = ::fork();
        if (child == 0) {
            QString reason;
            const auto open = VXExportFile::open(file, mode, &reason);
            if (offset >= 0)
                open->writeFrom(offset);
            open->write(large);
            ::kill(::getpid(), SIGKILL);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
    };
    const std::pair<Mode, qint64> table[] = {{Mode::Append, -1}, {Mode::Append, 1}, {Mode::Replace, -1}};
    for (const auto &[mode, offset] : table) {
        const QString file = writeFile(u"a.txt"_s, "old\n");
        killWhileWriting(file, mode, offset);
        EXPECT_EQ(readFile(file) == "old\n", mode == Mode::Replace);
        EXPECT_EQ(write(file, Mode::Append, "new\n"), QString());
        EXPECT_EQ(readFile(file), QByteArray("old\nnew\n"));
        EXPECT_EQ(write(file, Mode::Replace, "all\n"), QString());
        EXPECT_EQ(readFile(file), QByteArray("all\n"));
        EXPECT_EQ(entries(), QStringList{u"a.txt"_s});
    }
    killWhileWriting(path(u"made.txt"_s), Mode::Append, -1);
    EXPECT_EQ(write(path(u"made.txt"_s), Mode::Append, "new\n"), QString());
    EXPECT_EQ(readFile(path(u"made.txt"_s)), QByteArray("new\n"));
    // What was put in the file's place since is left alone, and so is it by an undo that was itself cut off.
    const QString file = writeFile(u"a.txt"_s, "old\n");
    killWhileWriting(file, Mode::Append, -1);
    ASSERT_TRUE(QFile::rename(file, path(u"aside"_s)));
    writeFile(u"a.txt"_s, "another\n");
    EXPECT_EQ(write(file, Mode::Append, "new\n"), QString());
    EXPECT_EQ(readFile(file), QByteArray("another\nnew\n"));
    writeFile(u".a.txt.undo"_s, "VXUndo");
    EXPECT_EQ(write(file, Mode::Append, "more\n"), QString());
    EXPECT_EQ(readFile(file), QByteArray("another\nnew\nmore\n"));
}

TEST_F(VXExportFileTest, ReplacingKeepsNoRightToRunAsSomebody)
{
    const QString file = writeFile(u"a.txt"_s, "old");
    const auto modeAfter = [&](mode_t mode, uid_t owner) {
        struct stat status = {};
        EXPECT_EQ(::chown(qPrintable(file), owner, gid_t(-1)), 0);
        EXPECT_EQ(::chmod(qPrintable(file), mode), 0);
        EXPECT_EQ(write(file, Mode::Replace, "new"), QString());
        EXPECT_EQ(::stat(qPrintable(file), &status), 0);
        return status.st_mode & 07777;
    };
    EXPECT_EQ(modeAfter(06755, uid_t(-1)), 0755U);
    EXPECT_EQ(modeAfter(0660, uid_t(-1)), 0660U);
    if (::geteuid() == 0) {
        EXPECT_EQ(modeAfter(04777, 12345), 0644U);
    }
}

TEST_F(VXExportFileTest, RefusesWhatIsNoFile)
{
    ASSERT_EQ(::mkfifo(qPrintable(path(u"pipe"_s)), 0600), 0);
    EXPECT_EQ(write(path(u"pipe"_s), Mode::Append, "x"), u"It is no regular file."_s);
    EXPECT_EQ(write(path(), Mode::Append, "x"), u"Is a directory"_s);
    EXPECT_EQ(write(path(u"none/a.txt"_s), Mode::Replace, "x"), u"No such file or directory"_s);
}

// Some of the processes replace the file, so that locks are waited for on a file that is gone by then.
TEST_F(VXExportFileTest, ProcessesWriteOneAfterTheOther)
{
    const QString file = path(u"shared.csv"_s);
    const auto write = [&](int process) {
        const auto exporter = VXMakeShippedPlugin<VXExporterPlugin>(u"CSVExporterPlugin"_s);
        bool isDone = true;
        for (int line = 0; line < 50; ++line) {
            const QVariantMap object{{u"process"_s, process}, {u"text"_s, QString(5000, u'x')}};
            isDone = isDone && !exporter->exportObjects({object}, {{VXExporterOptionsFilePathKey, file}});
            QString reason; // what an export in place of the file does, with the same contents
            if (const auto same = line % 10 == 0 ? VXExportFile::open(file, Mode::Replace, &reason) : nullptr) {
                same->write(readFile(file));
                isDone = isDone && same->commit(&reason);
            }
        }
        return isDone;
    };
    EXPECT_EQ(VXProcessesThatSucceed(4, write), 4);
    const QByteArray counted = VXPython(u"import csv, sys, collections\n"
                                        "rows = list(csv.reader(open(sys.argv[1], newline='')))\n"
                                        "print(rows[0], sorted(collections.Counter(r[0] for r in rows[1:]).items()),"
                                        "      {len(r[1]) for r in rows[1:]})"_s,
                                        file);
    EXPECT_EQ(counted, QByteArray("['process', 'text'] [('0', 50), ('1', 50), ('2', 50), ('3', 50)] {5000}"));
}

namespace {

// A disk that is soon full; only root can have one.
class SmallDisk
{
public:
    explicit SmallDisk(const QString &folder)
        : _folder(QFile::encodeName(folder)),
          _isThere(::mount("tmpfs", _folder.constData(), "tmpfs", 0, "size=256k") == 0)
    {
    }
    ~SmallDisk()
    {
        if (_isThere)
            ::umount2(_folder.constData(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;
    bool isThere() const { return _isThere; }

private:
    const QByteArray _folder;
    const bool _isThere;
};

} // namespace

TEST_F(VXExportFileTest, FullDiskLeavesTheOldFileWhole)
{
    const QString disk = path(u"disk"_s);
    ASSERT_TRUE(QDir().mkdir(disk));
    const SmallDisk smallDisk(disk);
    if (!smallDisk.isThere())
        GTEST_SKIP() << "only root can make a small disk: " << qPrintable(qt_error_string(errno));
    const QVariantMap small{{u"name"_s, u"Jane"_s}, {u"date"_s, QDateTime::currentDateTimeUtc()}};
    QVariantMap large = small;
    large.insert(u"note"_s, QString(2'000'000, u'x'));
    large.insert(u"from"_s, QString(2'000'000, u'x'));
    for (const QString &exporter : {u"CSVExporterPlugin"_s, u"JSONLinesExporterPlugin"_s, u"VCardExporterPlugin"_s,
                                    u"ICalendarExporterPlugin"_s}) {
        const QString file = disk + u"/old"_s;
        EXPECT_EQ(VXExport(exporter, {small}, file), QString());
        const QByteArray before = readFile(file);
        for (const bool appends : {true, false}) {
            QVariantMap everything = large;
            everything.insert(u"name"_s, QString(2'000'000, u'x')); // a column of the CSV file, too
            EXPECT_EQ(VXExport(exporter, {small, everything}, file, {{u"append"_s, appends}}),
                      u"No space left on device"_s);
            EXPECT_EQ(readFile(file), before) << exporter.toStdString();
        }
        EXPECT_EQ(VXExport(exporter, {large}, disk + u"/new"_s), u"No space left on device"_s);
        EXPECT_EQ(QDir(disk).entryList(QDir::Files | QDir::Hidden), QStringList{u"old"_s});
        EXPECT_EQ(VXExport(exporter, {small}, file), QString());
        EXPECT_TRUE(QFile::remove(file));
    }
}
