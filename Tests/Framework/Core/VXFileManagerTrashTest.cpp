#include "VXErrorDomain.h"
#include "VXFileManagerTesting.h"
#include "VXLogRecorder.h"

#include <QtCore/QDateTime>
#include <QtCore/QSet>
#include <QtCore/QUrl>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using testing::HasSubstr, testing::IsEmpty;

using VXFileManagerTrashTest = VXFileManagerHomeTest;

TEST_F(VXFileManagerTrashTest, TrashingReplacesNothing)
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

TEST_F(VXFileManagerTrashTest, TrashingTakesLinksAndFoldersAsTheyAre)
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

TEST_F(VXFileManagerTrashTest, TrashesTheLongestNames)
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

TEST_F(VXFileManagerTrashTest, TheTrashKnowsWhereAnItemReallyLay)
{
    writeFile(u"real/sub/file"_s, "x");
    writeFile(u"real/file"_s, "y");
    ASSERT_TRUE(QFile::link(path(u"real/sub"_s), path(u"link"_s)));
    EXPECT_TRUE(manager.safelyTrashFileAtPath(path(u"link/../file"_s)).isNull());
    EXPECT_EQ(readFile(trash(u"files/file"_s)), "y");
    const QByteArray real = QFile::encodeName(QFileInfo(path()).canonicalFilePath()) + "/real/file";
    EXPECT_EQ(readFile(trash(u"info/file.trashinfo"_s)).split('\n').value(1), "Path=" + real);
}

TEST_F(VXFileManagerTrashTest, FailedTrashingKeepsTheItemAndSaysWhy)
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

TEST_F(VXFileManagerTrashTest, ManyTrashAtOnceAndNothingIsLost)
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
