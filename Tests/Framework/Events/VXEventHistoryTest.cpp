#include "VXEventHistory.h"
#include "VXOtherProcess.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace Qt::StringLiterals;
using testing::SizeIs;

class VXEventHistoryTest : public VXHomeTest
{
protected:
    const QString folder = path(u"history"_s);

    static VXEventRecord record(const QString &name, bool fails = false)
    {
        VXEventRecord record{.date = QDateTime::currentDateTimeUtc(), .process = 1, .name = name};
        VXTriggerRecord trigger{.uri = u"x-coredata://store/VXTrigger/p1"_s, .filter = u"n == 1"_s};
        trigger.reactions.append({.identifier = u"test.reactor"_s, .milliseconds = 1.5});
        if (fails)
            trigger.reactions.append(
                {.identifier = u"other"_s, .outcome = VXReactionRecord::Outcome::Failed, .problems = {u"no disk"_s}});
        record.triggers.append(trigger);
        return record;
    }
    qint64 size() const
    {
        qint64 size = 0;
        for (const QFileInfo &file : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden))
            size += file.size();
        return size;
    }
};

TEST_F(VXEventHistoryTest, TellsAllOfAnEventAfterARestart)
{
    VXEventRecord kept = record(u"ping"_s, true);
    kept.subtype = u""_s; // empty, not none
    kept.setObject(
        QVariantMap{{u"name"_s, u"Jane"_s}, {u"date"_s, QDateTime(QDate(2026, 1, 2), QTime(3, 4), Qt::UTC)}});
    kept.triggers.append(
        {.uri = u"p2"_s, .name = u"Second"_s, .outcome = VXTriggerRecord::Outcome::Broken, .problem = u"?"_s});
    kept.omittedTriggers = 3;
    kept.milliseconds = 2.5;
    VXEventHistory(folder).append(kept);
    VXEventRecord quiet = record(u"pong"_s);
    VXEventHistory(folder).append(quiet);

    const VXEventHistory reopened(folder);
    ASSERT_THAT(reopened.records(), SizeIs(2));
    const VXEventRecord read = reopened.records().constFirst();
    EXPECT_EQ(read.json(), kept.json());
    EXPECT_EQ(read.object, kept.object); // dates are dates again
    EXPECT_FALSE(read.subtype.isNull());
    EXPECT_TRUE(read.isFailure());
    EXPECT_EQ(reopened.recordWithIdentifier(quiet.identifier.last(6))->name, u"pong"_s);
    EXPECT_FALSE(reopened.recordWithIdentifier(u"nothing"_s));
    EXPECT_EQ(QFile::permissions(folder + u"/failures.jsonl"_s) & (QFile::ReadGroup | QFile::ReadOther),
              QFile::Permissions());
}

TEST_F(VXEventHistoryTest, StaysBoundedAndFailuresOutlastTheRest)
{
    VXEventHistory history(folder);
    VXEventRecord failure = record(u"failure"_s, true);
    history.append(failure);
    for (int i = 0; i < 8000; ++i) {
        VXEventRecord success = record(u"success %1"_s.arg(i));
        ASSERT_TRUE(history.append(success));
    }
    EXPECT_LT(size(), 1'100'000);
    const QList<VXEventRecord> records = history.records();
    EXPECT_EQ(records.constFirst().identifier, failure.identifier);
    EXPECT_EQ(records.constLast().name, u"success 7999"_s);
    EXPECT_GT(records.size(), 1000);
}

// Somebody may have put a large file there.
TEST_F(VXEventHistoryTest, OfALargeFileTheEndIsRead)
{
    VXEventHistory history(folder);
    VXEventRecord first = record(u"first"_s);
    ASSERT_TRUE(history.append(first));
    const QString file = folder + u"/events.jsonl"_s;
    const QByteArray line = readFile(file);
    writeFile(QDir(path()).relativeFilePath(file), line.repeated(int(3'000'000 / line.size())));
    const qsizetype count = history.records().size();
    EXPECT_GT(count, 500'000 / line.size());
    EXPECT_LE(count, 1'000'000 / line.size());
}

TEST_F(VXEventHistoryTest, CutsDownWhatIsTooLong)
{
    VXEventHistory history(folder);
    VXEventRecord big = record(u"big"_s);
    big.setObject(QVariantMap{{u"text"_s, QString(50'000, u'x')}});
    for (int i = 0; i < 500; ++i)
        big.triggers.prepend(
            {.uri = u"x-coredata://store/VXTrigger/p%1"_s.arg(i), .outcome = VXTriggerRecord::Outcome::Rejected});
    VXEventRecord huge = record(QString(50'000, u'n'));
    EXPECT_TRUE(history.append(big) && history.append(huge));
    const QList<VXEventRecord> records = history.records();
    ASSERT_THAT(records, SizeIs(2));
    EXPECT_FALSE(records[0].isRepeatable());
    EXPECT_EQ(records[0].triggers.constFirst().outcome, VXTriggerRecord::Outcome::Ran); // which tells most
    EXPECT_EQ(records[0].triggers.size() + records[0].omittedTriggers, 501);
    EXPECT_FALSE(records[1].isRepeatable());
    EXPECT_LT(size(), 40'000);
}

TEST_F(VXEventHistoryTest, DamagedLinesCostOnlyThemselves)
{
    VXEventHistory history(folder);
    VXEventRecord first = record(u"first"_s);
    history.append(first);
    QFile file(folder + u"/events.jsonl"_s);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("[]\n{\"id\": 7}\n\xff\n{\"id\": \"cut sh");
    file.close();
    VXEventRecord second = record(u"second"_s);
    EXPECT_TRUE(history.append(second));
    const QList<VXEventRecord> records = history.records();
    ASSERT_THAT(records, SizeIs(2));
    EXPECT_EQ(records[1].name, u"second"_s);
}

TEST_F(VXEventHistoryTest, ProcessesWriteAtOnceWhileFilesStartAnew)
{
    constexpr int processes = 4;
    constexpr int each = 700; // less than what both files hold together
    const auto write = [this](int) {
        bool isKept = true;
        for (int i = 0; i < each; ++i) {
            VXEventRecord mine = record(u"event"_s);
            isKept = VXEventHistory(folder).append(mine) && isKept;
        }
        return isKept;
    };
    EXPECT_EQ(VXProcessesThatSucceed(processes, write), processes);
    QSet<QString> identifiers;
    for (const VXEventRecord &kept : VXEventHistory(folder).records())
        identifiers.insert(kept.identifier);
    EXPECT_THAT(identifiers, SizeIs(processes * each));
    EXPECT_TRUE(QFile::exists(folder + u"/events.jsonl.1"_s));
}

TEST_F(VXEventHistoryTest, SaysWhatKeepsItFromWriting)
{
    writeFile(u"history"_s, "a file in the way");
    ASSERT_TRUE(QDir().mkpath(path(u"other/events.jsonl"_s))); // a folder in the way
    for (const QString &place : {folder, path(u"other"_s)}) {
        VXEventRecord lost = record(u"lost"_s);
        VXError error;
        EXPECT_FALSE(VXEventHistory(place).append(lost, &error));
        EXPECT_FALSE(error.localizedDescription().isEmpty());
    }
    EXPECT_EQ(readFile(folder), "a file in the way");
}
