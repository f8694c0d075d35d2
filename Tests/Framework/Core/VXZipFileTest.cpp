#include "VXZipFile.h"

#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXLogRecorder.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QtEndian>

#include <filesystem>
#include <optional>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr, testing::UnorderedElementsAre;

namespace {

constexpr quint32 fileMode = 0100644;
constexpr quint32 linkMode = 0120777;
constexpr quint16 hostDOS = 0;
constexpr quint16 hostVMS = 2;
constexpr quint16 hostUnix = 3;

struct RawEntry
{
    QByteArray name;
    QByteArray data;
    quint32 mode = fileMode;
    quint16 host = hostUnix;
    quint16 flags = 0;
    std::optional<quint32> listedSize = {}; // the true one when none
};

template <class T>
void put(QByteArray &bytes, T value)
{
    const T little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char *>(&little), sizeof(little));
}

quint32 crc32(const QByteArray &data)
{
    quint32 crc = ~0U;
    for (const char byte : data) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0U);
    }
    return ~crc;
}

// An archive as no honest archiver makes it (PKWARE's APPNOTE, stored entries).
QByteArray rawArchive(const QList<RawEntry> &entries)
{
    QByteArray files;
    QByteArray directory;
    for (const RawEntry &entry : entries) {
        QByteArray common;                                           // what local header and directory share
        for (const int value : {20, int{entry.flags}, 0, 0, 0x5821}) // version, flags, method, time, date
            put(common, static_cast<quint16>(value));
        put(common, crc32(entry.data));
        put(common, static_cast<quint32>(entry.data.size()));
        put(common, entry.listedSize.value_or(static_cast<quint32>(entry.data.size())));
        put(common, static_cast<quint16>(entry.name.size()));
        put(common, quint16{0});

        directory += "PK\1\2";
        put(directory, static_cast<quint16>(entry.host << 8 | 20));
        directory += common;
        for (int zeros = 0; zeros < 3; ++zeros) // comment, disk, internal attributes
            put(directory, quint16{0});
        put(directory, entry.mode << 16);
        put(directory, static_cast<quint32>(files.size()));
        directory += entry.name;
        files += "PK\3\4" + common + entry.name + entry.data;
    }
    QByteArray end("PK\5\6\0\0\0\0", 8);
    put(end, static_cast<quint16>(entries.size()));
    put(end, static_cast<quint16>(entries.size()));
    put(end, static_cast<quint32>(directory.size()));
    put(end, static_cast<quint32>(files.size()));
    put(end, quint16{0});
    return files + directory + end;
}

class Delegate : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void zipDidComplete(VXZipFile *file) { zipped.append(file); }
    Q_INVOKABLE void unzipDidComplete(VXZipFile *file) { unzipped.append(file); }

    QList<VXZipFile *> zipped;
    QList<VXZipFile *> unzipped;
};

class VXZipFileTest : public VXHomeTest
{
protected:
    VXZipFileTest() { file->setDelegate(&delegate); }

    [[nodiscard]] bool finished() const
    {
        return VXRunUntil([this] { return !file->isRunning(); });
    }
    void zip(const QStringList &sources)
    {
        file->zip(sources);
        ASSERT_TRUE(finished());
        EXPECT_EQ(delegate.zipped, QList<VXZipFile *>{file.get()});
        delegate.zipped.clear();
    }
    void unzip(const QString &archive, const QString &destination = {})
    {
        file->setDestinationPath(destination);
        file->unzip(archive);
        ASSERT_TRUE(finished());
        EXPECT_EQ(delegate.unzipped, QList<VXZipFile *>{file.get()});
        delegate.unzipped.clear();
    }
    /** The files of an archive. */
    QStringList namesIn(const QString &archive)
    {
        const QString folder = QDir(path()).filePath(u"listed "_s + QFileInfo(archive).fileName());
        unzip(archive, folder);
        QStringList names;
        for (QDirIterator item(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); item.hasNext();)
            names.append(item.next().mid(folder.size() + 1));
        return names;
    }
    static QStringList entries(const QString &folder)
    {
        return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    Delegate delegate;
    VXZipFile::Ptr file = VXZipFile::create();
};

TEST_F(VXZipFileTest, ZipsOneItemOntoTheDesktop)
{
    zip({writeFile(u"x/y/report"_s, "contents")});
    EXPECT_TRUE(file->error().isNull());
    EXPECT_EQ(file->destinationPath(), path(u"Desktop/report.zip"_s));
    EXPECT_THAT(namesIn(path(u"Desktop/report.zip"_s)), UnorderedElementsAre(u"report"_s));
}

TEST_F(VXZipFileTest, ZipsFoldersAndSeveralItems)
{
    writeFile(u"folder/sub/a"_s, "a");
    writeFile(u"folder/b"_s, "b");
    writeFile(u"folder/-rf"_s, "b");
    file->setDestinationPath(u"~/out/../made.zip"_s);
    zip({u"~/folder/"_s});
    EXPECT_EQ(file->destinationPath(), path(u"made.zip"_s));
    EXPECT_THAT(namesIn(path(u"made.zip"_s)), UnorderedElementsAre(u"folder/sub/a"_s, u"folder/b"_s, u"folder/-rf"_s));

    file->setDestinationPath(path(u"two"_s));
    zip({writeFile(u"one"_s, "1"), writeFile(u"other/two"_s, "2")});
    EXPECT_EQ(file->destinationPath(), path(u"two.zip"_s));
    EXPECT_THAT(namesIn(path(u"two.zip"_s)), UnorderedElementsAre(path(u"one"_s).mid(1), path(u"other/two"_s).mid(1)));
}

TEST_F(VXZipFileTest, NamesAreNeitherOptionsNorPatterns)
{
    writeFile(u"a1.zip"_s, "the pattern a[1].zip fits this too");
    const QStringList names{u"-rf"_s, u"@"_s, u"a[1]"_s, u"b*?"_s, u"c\\d"_s, u"über uns"_s, u"$(touch x)"_s, u"-"_s};
    for (const QString &name : names) {
        file->setDestinationPath(path());
        zip({writeFile(u"in/"_s + name, name.toUtf8())});
        EXPECT_EQ(file->destinationPath(), path(name + u".zip"_s));
        EXPECT_TRUE(file->error().isNull()) << file->error().description().toStdString();
        unzip(path(name + u".zip"_s), path(u"out"_s));
        EXPECT_TRUE(file->error().isNull()) << name.toStdString() << file->error().description().toStdString();
        EXPECT_EQ(file->destinationPath(), path(u"out/"_s + name));
        EXPECT_EQ(readFile(path(u"out/"_s + name)), name.toUtf8());
    }
    // Relative to the folder we are in, with names that begin with a dash.
    ASSERT_TRUE(QDir::setCurrent(path()));
    unzip(u"-rf.zip"_s, u"-d"_s);
    EXPECT_EQ(readFile(path(u"-d/-rf"_s)), "-rf");
    file->setDestinationPath(u"-made"_s);
    writeFile(u".DS_Store"_s, {});
    zip({u"-d"_s, u"a1.zip"_s, u".DS_Store"_s});
    EXPECT_THAT(namesIn(path(u"-made.zip"_s)), UnorderedElementsAre(u"-d/-rf"_s, u"a1.zip"_s));
    QDir::setCurrent(u"/"_s);
}

TEST_F(VXZipFileTest, FailedZippingSaysWhatAndWhere)
{
    const VXLogRecorder log;
    file->setDestinationPath(path(u"out.zip"_s));
    zip({path(u"missing"_s)});
    EXPECT_EQ(log.count(u"/usr/bin/zip ended with 12: zip error: Nothing to do!"_s), 1);
    EXPECT_EQ(file->error(), VXMakeFileError(u"Unable to zip file(s)."_s, u"Error: 12"_s, path(u"out.zip"_s)));
    zip({path(u"no folder/missing"_s)}); // the archiver cannot run there
    EXPECT_EQ(file->error().localizedRecoverySuggestion(), u"Error: 127"_s);
    file->setDestinationPath(writeFile(u"plain"_s, {}) + u"/out.zip"_s);
    zip({path(u"plain"_s)});
    EXPECT_EQ(file->error().localizedRecoverySuggestion(), u"Error: 15"_s);
    EXPECT_EQ(entries(path()), (QStringList{u".local"_s, u"plain"_s})); // the log, and no half archive
}

TEST_F(VXZipFileTest, UnzipsBesideTheArchiveOverOlderFiles)
{
    const QString archive = writeFile(u"in/x.zip"_s, rawArchive({{"folder/", {}}, {"folder/a", "new"}}));
    writeFile(u"in/folder/a"_s, "old");
    QFile old(path(u"in/folder/a"_s));
    ASSERT_TRUE(old.open(QIODevice::ReadWrite));
    ASSERT_TRUE(old.setFileTime(QDateTime::fromSecsSinceEpoch(1'000'000), QFileDevice::FileModificationTime));
    old.close();
    file = VXZipFile::unzipFileAtPath(archive, &delegate);
    ASSERT_TRUE(finished());
    EXPECT_EQ(delegate.unzipped, QList<VXZipFile *>{file.get()});
    EXPECT_TRUE(file->error().isNull());
    EXPECT_EQ(file->destinationPath(), path(u"in/folder"_s));
    EXPECT_EQ(readFile(path(u"in/folder/a"_s)), "new");
}

TEST_F(VXZipFileTest, TheDestinationIsTheFirstEntryAsItWasUnpacked)
{
    const std::pair<QByteArray, QString> cases[] = {{"line\nfeed/", u"linefeed"_s}, {"a^Jb", u"a^Jb"_s}, {"^", u"^"_s}};
    for (const auto &[entry, unpacked] : cases) {
        const QString out = path(u"out"_s);
        unzip(writeFile(u"names.zip"_s, rawArchive({{entry, {}}})), out);
        EXPECT_EQ(file->destinationPath(), out + u'/' + unpacked);
        EXPECT_TRUE(QFile::exists(file->destinationPath())) << unpacked.toStdString();
        QDir(out).removeRecursively();
    }
}

TEST_F(VXZipFileTest, DamagedAndLockedArchivesGiveAnError)
{
    const QByteArray good = rawArchive({{"a", "contents of a"}, {"b", "b"}});
    QByteArray damaged = good;
    damaged.replace("contents", "CONTENTS");
    ASSERT_EQ(::mkfifo(QFile::encodeName(path(u"pipe.zip"_s)).constData(), 0600), 0);
    const std::pair<QString, QString> cases[] = {
        {writeFile(u"text.zip"_s, "no archive"), u"Error: 9"_s},
        {writeFile(u"zero.zip"_s, {}), u"Error: 9"_s},
        {writeFile(u"short.zip"_s, good.chopped(30)), u"Error: 9"_s},
        {writeFile(u"empty.zip"_s, rawArchive({})), u"Error: 1"_s},
        {writeFile(u"damaged.zip"_s, damaged), u"Error: 2"_s},
        {path(u"missing.zip"_s), u"Error: 9"_s},
        {path(), u"Error: 9"_s},
        {path(u"pipe.zip"_s), u"It is no regular file."_s},
        {writeFile(u"secret.zip"_s, rawArchive({{"a", QByteArray(20, 'x'), fileMode, hostUnix, 1}})),
         u"Error: 5"_s}, // and nobody is asked for the password
    };
    for (const auto &[archive, suggestion] : cases) {
        unzip(archive, path(u"out"_s));
        EXPECT_EQ(file->error(), VXMakeFileError(u"Unable to unzip file."_s, suggestion, QDir::cleanPath(archive)));
        EXPECT_EQ(file->destinationPath(), path(u"out"_s));
    }
    unzip(writeFile(u"good.zip"_s, good), writeFile(u"plain"_s, "kept"));
    EXPECT_FALSE(file->error().isNull());
    EXPECT_EQ(readFile(path(u"plain"_s)), "kept");
}

TEST_F(VXZipFileTest, RefusesArchivesThatLeadOutside)
{
    const QByteArray outside = QFile::encodeName(path(u"target"_s));
    const std::pair<QList<RawEntry>, const char *> cases[] = {
        {{{"ok", "x"}, {"../up", "x"}}, "\"../up\""},
        {{{"a/../../up", "x"}}, "\"a/../../up\""},
        {{{"/etc/absolute", "x"}}, "\"/etc/absolute\""},
        {{{"..\\dos", "x", 0, hostDOS}}, "\"..\\dos\""},
        {{{"link", outside, linkMode}}, "\"link\""},
        {{{"sub/link", "../../target", linkMode}}, "\"sub/link\""},
        {{{"d/e/deep", "../..", linkMode}, {"d/e/link", "deep/../target", linkMode}}, "\"d/e/link\""},
        {{{"fine", "a", linkMode}, {"vms", outside, linkMode, hostVMS}}, "\"vms\""},
        {{{"cut", QByteArray("..\0/a", 5), linkMode}}, "\"cut\""},
        {{{"long", QByteArray(5000, 'a'), linkMode}}, "\"long\""},
        {{{"hid\1den", outside, linkMode}}, "\"hid^Aden\""},
        {{{"link", "sub", linkMode}, {"link/./x", "x"}}, "\"link/./x\""},
        {{{"twice", "x"}, {"./twice", "sub", linkMode}}, "\"twice\""},
        {{{"[a-z]*", outside, linkMode}, {"b", "b"}}, "\"[a-z]*\""},
    };
    for (const auto &[raw, culprit] : cases) {
        const QString archive = writeFile(u"bad.zip"_s, rawArchive(raw));
        unzip(archive, path(u"out/deeper"_s));
        EXPECT_EQ(file->error().localizedDescription(), u"Unable to unzip file."_s) << culprit;
        EXPECT_THAT(file->error().localizedRecoverySuggestion().toStdString(), HasSubstr(culprit));
        EXPECT_EQ(file->error().filePath(), archive);
        EXPECT_FALSE(QFileInfo::exists(path(u"out"_s))) << culprit;
    }
}

TEST_F(VXZipFileTest, UnpacksHarmlessLinksAndOddNames)
{
    const QString archive = writeFile(u"good.zip"_s, rawArchive({{"bundle/A/code", "code"},
                                                                 {"bundle/Current", "A", linkMode},
                                                                 {"bundle/x/-up [1]*", "../../other", linkMode},
                                                                 {"bundle/x/nam\xEF", "latin"},
                                                                 {"bundle/x/new\nline", "y"},
                                                                 {"..bundle/...", "dots"}}));
    unzip(archive, path(u"out"_s));
    EXPECT_TRUE(file->error().isNull()) << file->error().description().toStdString();
    EXPECT_EQ(file->destinationPath(), path(u"out/bundle/A/code"_s));
    EXPECT_EQ(readFile(path(u"out/bundle/Current/code"_s)), "code");
    EXPECT_TRUE(QFileInfo(path(u"out/bundle/x/-up [1]*"_s)).isSymLink());
    EXPECT_EQ(readFile(path(u"out/..bundle/..."_s)), "dots");
    // Qt shows no names that are not UTF-8, and does not remove them either.
    EXPECT_EQ(std::filesystem::remove_all(path(u"out/bundle/x"_s).toStdString()), 4U);
}

TEST_F(VXZipFileTest, AnArchiveThatUnpacksItselfIsUnpackedWithAWarning)
{
    const QString archive = writeFile(u"program.zip"_s, QByteArray(500, '#') + rawArchive({{"folder/a", "a"}}));
    const VXLogRecorder log;
    unzip(archive, path(u"out"_s));
    EXPECT_EQ(readFile(path(u"out/folder/a"_s)), "a");
    EXPECT_EQ(file->error(), VXMakeFileError(u"Unable to unzip file."_s, u"Error: 1"_s, archive));
    EXPECT_GE(log.count(u"500 extra bytes at beginning"_s), 1) << "in the archiver's own words";
    EXPECT_EQ(entries(path(u"out"_s)), QStringList{u"folder"_s});
}

TEST_F(VXZipFileTest, NothingIsLeftOfAnArchiveThatDoesNotFit)
{
    QList<RawEntry> bomb;
    for (int number = 0; number < 40'000; ++number)
        bomb.append({QByteArray::number(number), "x", fileMode, hostUnix, 0, 0xFFFFFFF0U});
    const std::tuple<const char *, QByteArray, QString> cases[] = {
        {"by its list", rawArchive(bomb), u"are free."_s},
        {"larger than its list says",
         rawArchive({{"first", "1"}, {"lies", QByteArray(300'000, 'x'), fileMode, hostUnix, 0, 5}}), u"Error: "_s},
        {"larger than its list says, below the limit",
         rawArchive({{"limit", QByteArray(9000, 'x')}, {"lies", QByteArray(5000, 'x'), fileMode, hostUnix, 0, 5}}),
         u"more than its list says"_s},
        {"a file where a folder is to be", rawArchive({{"first", "1"}, {"taken/x", "x"}}), qt_error_string(EEXIST)},
    };
    for (const auto &[what, archive, reason] : cases) {
        writeFile(u"out/taken"_s, "taken");
        unzip(writeFile(u"x.zip"_s, archive), path(u"out"_s));
        EXPECT_THAT(file->error().localizedRecoverySuggestion().toStdString(), HasSubstr(reason.toStdString())) << what;
        EXPECT_EQ(entries(path(u"out"_s)), QStringList{u"taken"_s}) << what;
    }
}

TEST_F(VXZipFileTest, UnpackedFoldersJoinThoseThatAreThere)
{
    writeFile(u"out/folder/kept"_s, "kept");
    writeFile(u"out/folder/newer"_s, "mine");
    writeFile(u"out/folder/older"_s, "mine");
    QFile older(path(u"out/folder/older"_s));
    ASSERT_TRUE(older.open(QIODevice::ReadWrite));
    ASSERT_TRUE(older.setFileTime(QDateTime::fromSecsSinceEpoch(1'000'000), QFileDevice::FileModificationTime));
    older.close();
    unzip(writeFile(u"x.zip"_s, rawArchive({{"folder/", {}, 040555},
                                            {"folder/newer", "theirs"},
                                            {"folder/older", "theirs"},
                                            {"folder/closed/", {}, 040555},
                                            {"folder/closed/x", "x"}})),
          path(u"out"_s));
    EXPECT_TRUE(file->error().isNull()) << file->error().description().toStdString();
    EXPECT_EQ(readFile(path(u"out/folder/kept"_s)), "kept");
    EXPECT_EQ(readFile(path(u"out/folder/newer"_s)), "mine");
    EXPECT_EQ(readFile(path(u"out/folder/older"_s)), "theirs");
    EXPECT_EQ(readFile(path(u"out/folder/closed/x"_s)), "x");
    EXPECT_FALSE(QFileInfo(path(u"out/folder/closed"_s)).permission(QFile::WriteOwner));
}

TEST_F(VXZipFileTest, CancelEndsTheRunningArchiver)
{
    QFile large(writeFile(u"large"_s, {}));
    ASSERT_TRUE(large.resize(qint64{1} << 40)); // hours of work, no space on the disk
    QDir().mkdir(path(u"out"_s));
    file->setDestinationPath(path(u"out"_s));
    file->zip({large.fileName()});
    EXPECT_TRUE(file->isRunning());
    EXPECT_THROW(file->zip({large.fileName()}), VXAssertionException);
    ASSERT_TRUE(VXRunUntil([this] { return !entries(path(u"out"_s)).isEmpty(); })); // it writes
    file->cancel();
    ASSERT_TRUE(finished());
    EXPECT_TRUE(file->didCancel());
    EXPECT_FALSE(file->error().isNull());
    EXPECT_EQ(delegate.zipped.size(), 1);
    EXPECT_FALSE(QFile::exists(path(u"out/large.zip"_s)));

    file->zip({large.fileName()}); // the same task once more, cancelled before anything runs or right after
    EXPECT_FALSE(file->didCancel());
    file->cancel();
    ASSERT_TRUE(finished());
    EXPECT_FALSE(file->error().isNull());
    EXPECT_FALSE(QFile::exists(path(u"out/large.zip"_s)));
}

TEST_F(VXZipFileTest, WorksForNobodyAndForTheSilent)
{
    writeFile(u"x.zip"_s, rawArchive({{"a", "a"}}));
    QObject silent;
    const VXZipFile::Ptr ours = VXZipFile::unzipFileAtPath(path(u"x.zip"_s), &silent);
    file->setDestinationPath(path(u"out"_s));
    {
        Delegate shortLived;
        file->setDelegate(&shortLived);
        file->unzip(path(u"x.zip"_s));
    }
    EXPECT_EQ(file->delegate(), nullptr);
    const std::weak_ptr<VXTask> watched = std::exchange(file, nullptr); // the work alone holds it now
    ASSERT_TRUE(VXRunUntil([&] { return watched.expired() && !ours->isRunning(); }));
    EXPECT_EQ(readFile(path(u"out/a"_s)), "a");
    EXPECT_EQ(readFile(path(u"a"_s)), "a");
}

TEST_F(VXZipFileTest, AssertsPaths)
{
    EXPECT_EQ(VXReasonOfAssertion([this] { file->zip({}); }), u"theSourcePaths can not be nil/empty"_s);
    EXPECT_EQ(VXReasonOfAssertion([this] { file->unzip({}); }), u"aFilePath can not be nil"_s);
    EXPECT_FALSE(file->isRunning());
}

} // namespace

#include "VXZipFileTest.moc"
