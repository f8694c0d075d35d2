#include "VXRegularFile.h"
#include "VXTesting.h"

#include "VXBundle.h"
#include "VXFileLock.h"
#include "VXPropertyList.h"
#include "VXStringsTable.h"

#include <sys/stat.h>

using namespace Qt::StringLiterals;

using VXRegularFileTest = VXHomeTest;

TEST_F(VXRegularFileTest, ReadsNothingElse)
{
    const QString pipe = path(u"pipe"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QString zero = path(u"zero"_s);
    ASSERT_TRUE(QFile::link(u"/dev/zero"_s, zero));
    for (const QString &file : {pipe, zero, path(), path(u"none"_s)}) {
        QString reason;
        VXError error;
        EXPECT_TRUE(VXRegularFile::read(file, &reason).isNull()) << file.toStdString();
        EXPECT_FALSE(reason.isEmpty());
        EXPECT_FALSE(VXPropertyList::fromFile(file, &error).isValid());
        EXPECT_EQ(error.localizedRecoverySuggestion(), reason);
        EXPECT_FALSE(VXStringsTable::fromFile(file, &error));
        QFile device(file);
        EXPECT_FALSE(VXRegularFile::open(device, &reason));
    }
}

TEST_F(VXRegularFileTest, ReadsUpToTheLimit)
{
    QString reason;
    VXFileStamp stamp;
    const QString file = writeFile(u"file"_s, QByteArray(100'000, 'x'));
    EXPECT_EQ(VXRegularFile::read(file, &reason, 100'000, &stamp), QByteArray(100'000, 'x'));
    EXPECT_EQ(stamp, VXFileStamp::ofPath(file));
    EXPECT_TRUE(VXRegularFile::read(file, &reason, 99'999).isNull());
    EXPECT_EQ(reason, u"It is larger than 99999 bytes."_s);
    const QByteArray empty = VXRegularFile::read(writeFile(u"empty"_s, ""), &reason);
    EXPECT_TRUE(empty.isEmpty() && !empty.isNull());
}

TEST_F(VXRegularFileTest, ALockIsNoLink)
{
    writeFile(u"precious"_s, "kept");
    ASSERT_TRUE(QFile::link(u"precious"_s, path(u"lock"_s)));
    const VXFileLock refused(path(u"lock"_s));
    EXPECT_FALSE(refused.isHeld());
    EXPECT_TRUE(refused.reason().contains(u"is a link"_s));
    EXPECT_TRUE(VXFileLock(path(u"other"_s)).isHeld());
}
