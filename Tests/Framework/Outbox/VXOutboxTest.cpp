#include "OutboxTestsPaths.h"
#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXManagedObjectModel.h"
#include "VXOutboxRunner.h"
#include "VXTesting.h"
#include "VXTestSQL.h"
#include "VXUserDefaults.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QtNumeric>

#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;
using testing::ElementsAre;

using Outcome = VXOutboxDelivery::Outcome;

namespace {

class VXOutboxTest : public VXHomeTest
{
protected:
    VXOutboxTest() : outbox(open(path(u"outbox.sqlite"_s)))
    {
        VXUserDefaults::standardUserDefaults().setObject(0, u"outbox.retry-delay"_s);
    }
    static VXPersistentStoreCoordinator::Ptr open(const QString &path)
    {
        const auto model = VXManagedObjectModel::modelWithContentsOfFile(QStringLiteral(VORNIX_OUTBOX_MODEL));
        auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
        EXPECT_TRUE(coordinator && coordinator->addPersistentStore(VXStoreType::SQLite, path));
        return coordinator;
    }

    qint64 add(const QString &destination, const QString &title)
    {
        return outbox.add(u"test"_s, destination, title, {{u"a"_s, 1}}).value_or(0);
    }
    VXOutboxState stateOf(qint64 number) const { return outbox.entry(number)->state; }

    /** A runner whose deliveries come to what `outcomes` says of their titles, else to Sent, later. */
    std::unique_ptr<VXOutboxRunner> makeRunner()
    {
        return std::make_unique<VXOutboxRunner>(
            u"test"_s, outbox, [this](const VXOutboxEntry &entry, const VXOutboxRunner::Completion &completion) {
                EXPECT_EQ(stateOf(entry.number), VXOutboxState::Sending); // before anything is sent
                tried.append(entry.title);
                waiting.append([=, this] {
                    QList<Outcome> &list = outcomes[entry.title];
                    completion({.outcome = list.isEmpty() ? Outcome::Sent : list.takeFirst(), .problem = u"why"_s});
                });
                return [completion] { completion({.outcome = Outcome::Unknown, .problem = u"given up"_s}); };
            });
    }
    std::unique_ptr<VXOutboxRunner> startRunner()
    {
        auto runner = makeRunner();
        runner->run();
        return runner;
    }
    /** As another process changes the store: nobody here is told. */
    void changeStore(const QString &sql) const { VXRunSQL(path(u"outbox.sqlite"_s), sql.toUtf8()); }
    void finishAll()
    {
        for (const auto &finish : std::exchange(waiting, {}))
            finish();
    }
    bool finishUntil(const std::function<bool()> &condition)
    {
        return VXRunUntil([&] {
            finishAll();
            return condition();
        });
    }

    VXOutbox outbox;
    QStringList tried;
    QMap<QString, QList<Outcome>> outcomes;
    QList<std::function<void()>> waiting;
};

TEST_F(VXOutboxTest, KeepsTheOrderOfADestinationThroughFailures)
{
    for (const QString &title : {u"a1"_s, u"a2"_s, u"b1"_s, u"a3"_s})
        add(title.left(1), title);
    outcomes[u"a1"_s] = {Outcome::NotDelivered, Outcome::NotDelivered};
    outcomes[u"a2"_s] = {Outcome::Refused};
    const auto runner = startRunner();
    EXPECT_THAT(tried, ElementsAre(u"a1"_s, u"b1"_s)); // one at a time for each
    runner->run();
    EXPECT_EQ(tried.size(), 2);
    ASSERT_TRUE(finishUntil([&] { return tried.size() == 6 && !runner->isBusy(); }));
    tried.removeOne(u"b1"_s);
    EXPECT_THAT(tried, ElementsAre(u"a1"_s, u"a1"_s, u"a1"_s, u"a2"_s, u"a3"_s));
    const QList<VXOutboxEntry> entries = *outbox.entries();
    EXPECT_EQ(entries[0].attempts, 3);
    EXPECT_EQ(entries[0].state, VXOutboxState::Sent);
    EXPECT_EQ(entries[1].state, VXOutboxState::Failed);
    EXPECT_EQ(entries[1].problem, u"why"_s);
    EXPECT_EQ(entries[0].payload, (QVariantMap{{u"a"_s, 1}}));
}

// What fails again and again does not come before what is tried for the first time.
TEST_F(VXOutboxTest, WhatHasBeenDueLongestIsFirst)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (int number = 1; number <= 5; ++number) {
        VXOutboxEntry entry = *outbox.entry(add(QString::number(number), QString::number(number)));
        entry.nextDate = now.addSecs(number == 1 ? -1 : -number * 10);
        ASSERT_TRUE(outbox.update(entry));
    }
    const auto runner = startRunner();
    EXPECT_THAT(tried, ElementsAre(u"5"_s, u"4"_s, u"3"_s, u"2"_s)); // so many at once
    ASSERT_TRUE(finishUntil([&] { return tried.size() == 5 && !runner->isBusy(); }));
}

TEST_F(VXOutboxTest, KeepsTextsThatNoPropertyListHolds)
{
    const QVariantMap payload{{u"fields"_s, QVariantList{QVariantMap{{u"text"_s, u"page\fbreak \x1b[31m \uffff"_s},
                                                                     {u"data"_s, QByteArray("\0\xff", 2)}}}},
                              {u"zero"_s, u"a"_s + QChar(0) + u"b"_s},
                              {u"timeout"_s, 0.5}};
    const qint64 number = outbox.add(u"test"_s, u"d"_s, u"t"_s, payload).value_or(0);
    ASSERT_GT(number, 0);
    EXPECT_EQ(outbox.entry(number)->payload, payload);
    EXPECT_EQ(outbox.entries()->first().payload, payload);
}

TEST_F(VXOutboxTest, WhatIsOfAnotherKindIsNotRead)
{
    const qint64 number = add(u"d"_s, u"t"_s);
    const qint64 other = outbox.add(u"other"_s, u"d"_s, u"o"_s, {{u"a"_s, 1}}).value_or(0);
    changeStore(u"UPDATE VX_VXOutboxEntry SET payload = 'no list' WHERE Z_PK = %1"_s.arg(other));
    const auto open = outbox.openEntries(u"test"_s);
    ASSERT_TRUE(open);
    ASSERT_EQ(open->size(), 1);
    EXPECT_EQ(open->first().number, number);
    EXPECT_FALSE(outbox.openEntries(u"other"_s)); // which are
    EXPECT_TRUE(outbox.retryDestination(u"test"_s, u"d"_s));
    add(u"d"_s, u"u"_s);
    changeStore(u"UPDATE VX_VXOutboxEntry SET state = 1 WHERE Z_PK <> %1"_s.arg(other));
    EXPECT_EQ(outbox.kindsBeingSent(), QStringList{u"test"_s});
}

TEST_F(VXOutboxTest, WhatMayHaveArrivedIsSentAgainOnlyWhenAsked)
{
    const qint64 number = add(u"d"_s, u"t"_s);
    outcomes[u"t"_s] = {Outcome::Unknown};
    const auto runner = startRunner();
    finishAll();
    ASSERT_TRUE(VXRunUntil([&] { return !runner->isBusy(); }));
    runner->run();
    EXPECT_EQ(tried.size(), 1);
    EXPECT_EQ(stateOf(number), VXOutboxState::PerhapsSent);

    VXError error;
    EXPECT_TRUE(outbox.retry(number));
    runner->run();
    EXPECT_FALSE(outbox.retry(number, &error)); // it is being sent
    EXPECT_FALSE(outbox.drop(number, &error));
    EXPECT_EQ(error.localizedDescription(), u"It is just being sent."_s);
    finishAll();
    EXPECT_EQ(stateOf(number), VXOutboxState::Sent);
    EXPECT_FALSE(outbox.retry(number, &error));
    EXPECT_TRUE(outbox.drop(number));
    EXPECT_FALSE(outbox.drop(number, &error));
    EXPECT_FALSE(outbox.entry(number));
}

TEST_F(VXOutboxTest, WhatAnEndedProgramWasSendingIsPerhapsSent)
{
    const qint64 number = add(u"d"_s, u"t"_s);
    startRunner(); // and its program ends
    EXPECT_EQ(stateOf(number), VXOutboxState::Sending);
    const qint64 next = add(u"d"_s, u"next"_s);
    const auto runner = startRunner();
    runner->run();
    EXPECT_EQ(stateOf(number), VXOutboxState::PerhapsSent);
    EXPECT_EQ(outbox.entry(number)->problem, u"The program ended while it was being sent."_s);
    EXPECT_EQ(stateOf(next), VXOutboxState::Sending);
    waiting.clear();
}

TEST_F(VXOutboxTest, ReadsOnlyWhatIsOpenAndTellsWhatIsThereFromWhatCanNotBeRead)
{
    const qint64 sent = add(u"d"_s, u"sent"_s);
    const qint64 open = add(u"d"_s, u"open"_s);
    ASSERT_TRUE(outbox.add(u"other"_s, u"d"_s, u"of another kind"_s, {}));
    VXOutboxEntry entry = *outbox.entry(sent);
    entry.state = VXOutboxState::Sent;
    ASSERT_TRUE(outbox.update(entry));
    const QList<VXOutboxEntry> entries = outbox.openEntries(u"test"_s).value_or(QList<VXOutboxEntry>());
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries.first().number, open);

    VXError error;
    EXPECT_FALSE(outbox.entry(open + 10, &error));
    EXPECT_FALSE(error);
    changeStore(u"ALTER TABLE VX_VXOutboxEntry RENAME TO gone"_s);
    EXPECT_FALSE(outbox.entry(open, &error));
    EXPECT_TRUE(error);
    EXPECT_FALSE(outbox.openEntries(u"test"_s));
    EXPECT_FALSE(outbox.retry(open, &error));
    EXPECT_NE(error.localizedDescription(), u"There is no such entry in the outbox."_s);
}

// What is added while others are sent, also by another thread, is sent with them.
TEST_F(VXOutboxTest, HearsOfWhatIsAdded)
{
    add(u"d"_s, u"1"_s);
    const auto runner = startRunner();
    std::thread([&] { add(u"e"_s, u"2"_s); }).join();
    ASSERT_TRUE(VXRunUntil([&] { return tried.size() == 2; }));
    add(u"d"_s, u"3"_s);
    ASSERT_TRUE(finishUntil([&] { return tried.size() == 3 && !runner->isBusy(); }));
    EXPECT_THAT(tried, ElementsAre(u"1"_s, u"2"_s, u"3"_s));
}

TEST_F(VXOutboxTest, OneProcessSendsAtATime)
{
    const qint64 number = add(u"d"_s, u"t"_s);
    const QString folder = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + u"/Outbox"_s;
    ASSERT_FALSE(VXFileManager::defaultManager().verifyPathExists(folder));
    auto other = std::make_unique<VXFileLock>(folder + u"/test.lock"_s);
    const auto runner = startRunner();
    EXPECT_TRUE(tried.isEmpty());
    other.reset();
    ASSERT_TRUE(VXRunUntil([&] { return tried.size() == 1; })); // it looks again
    finishAll();
    EXPECT_EQ(stateOf(number), VXOutboxState::Sent);
}

// A retry keeps the order: what waits before the entry is tried first, and what is refused then makes way.
TEST_F(VXOutboxTest, ARetryTakesAlongWhatWaitsBefore)
{
    VXUserDefaults::standardUserDefaults().setObject(100, u"outbox.retry-delay"_s);
    const qint64 first = add(u"d"_s, u"1"_s);
    const qint64 last = add(u"d"_s, u"2"_s);
    outcomes[u"1"_s] = {Outcome::NotDelivered, Outcome::Sent, Outcome::NotDelivered};
    const auto runner = startRunner();
    finishAll();
    ASSERT_EQ(stateOf(first), VXOutboxState::Queued);
    ASSERT_TRUE(outbox.retry(last));
    ASSERT_TRUE(finishUntil([&] { return stateOf(last) == VXOutboxState::Sent; }));
    EXPECT_THAT(tried, ElementsAre(u"1"_s, u"1"_s, u"2"_s));

    const qint64 again = add(u"d"_s, u"1"_s);
    ASSERT_TRUE(finishUntil([&] { return outbox.entry(again)->attempts == 1 && !runner->isBusy(); }));
    EXPECT_TRUE(outbox.retryDestination(u"test"_s, u"other"_s));
    EXPECT_GT(outbox.entry(again)->nextDate, QDateTime::currentDateTimeUtc());
    EXPECT_TRUE(outbox.retryDestination(u"test"_s, u"d"_s));
    EXPECT_TRUE(VXRunUntil([&] { return tried.size() == 5; }));
}

// Many entries for a server that is away: none of them has the outbox read again.
TEST_F(VXOutboxTest, WhatIsAddedBehindOthersWaitsWithThem)
{
    VXUserDefaults::standardUserDefaults().setObject(100, u"outbox.retry-delay"_s);
    const qint64 first = add(u"d"_s, u"first"_s);
    outcomes[u"first"_s] = {Outcome::NotDelivered};
    const auto runner = startRunner();
    finishAll();
    for (int number = 0; number < 20; ++number) {
        add(u"d"_s, QString::number(number));
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(tried.size(), 1);
    add(u"e"_s, u"other"_s);
    EXPECT_TRUE(VXRunUntil([&] { return tried.size() == 2; }));
    finishAll();
    EXPECT_TRUE(VXOutbox(open(path(u"outbox.sqlite"_s))).drop(first)); // as another process does
    add(u"d"_s, u"last"_s);
    ASSERT_TRUE(finishUntil([&] { return tried.size() == 23 && !runner->isBusy(); }));
    EXPECT_EQ(tried.last(), u"last"_s);
}

TEST_F(VXOutboxTest, WhatIsGivenUpIsToldAndNothingMoreBegins)
{
    const qint64 number = add(u"d"_s, u"1"_s);
    const qint64 next = add(u"d"_s, u"2"_s);
    const auto runner = startRunner();
    runner->giveUp();
    EXPECT_FALSE(runner->isBusy());
    EXPECT_EQ(outbox.entry(number)->problem, u"given up"_s);
    EXPECT_EQ(stateOf(next), VXOutboxState::Queued);
    waiting.clear();
    runner->resume();
    EXPECT_THAT(tried, ElementsAre(u"1"_s, u"2"_s));
    finishAll();
    EXPECT_EQ(stateOf(next), VXOutboxState::Sent);
}

// Who drops one entry, or all, does not mean to send the others, or those that are just to be dropped.
// Nobody knows what was sent before; the others go on, and other processes may send.
TEST_F(VXOutboxTest, WhatIsThrownEndsNothingButItsOwnTry)
{
    const qint64 number = add(u"a"_s, u"thrown"_s);
    add(u"a"_s, u"after"_s);
    add(u"b"_s, u"beside"_s);
    VXOutboxRunner runner(u"test"_s, outbox,
                          [this](const VXOutboxEntry &entry, const VXOutboxRunner::Completion &completion) {
                              tried.append(entry.title);
                              if (entry.title == "thrown"_L1)
                                  throw std::runtime_error("no phone");
                              waiting.append([=] { completion({.outcome = Outcome::Sent}); });
                              return [] { throw std::runtime_error("no way back"); };
                          });
    runner.run();
    EXPECT_THAT(tried, ElementsAre(u"thrown"_s, u"after"_s, u"beside"_s));
    EXPECT_EQ(stateOf(number), VXOutboxState::PerhapsSent);
    EXPECT_THAT(outbox.entry(number)->problem.toStdString(), testing::HasSubstr("no phone"));
    runner.giveUp();
    EXPECT_TRUE(runner.isBusy());
    finishAll();
    EXPECT_FALSE(runner.isBusy());
}

TEST_F(VXOutboxTest, WhatIsDroppedMakesNothingBeSent)
{
    VXUserDefaults::standardUserDefaults().setObject(100, u"outbox.retry-delay"_s);
    const qint64 first = add(u"d"_s, u"1"_s);
    const qint64 second = add(u"d"_s, u"2"_s);
    const qint64 third = add(u"d"_s, u"3"_s);
    outcomes[u"1"_s] = {Outcome::NotDelivered};
    const auto runner = startRunner();
    finishAll();
    EXPECT_TRUE(outbox.drop(first));
    EXPECT_EQ(tried.size(), 1);
    const auto refusals = outbox.dropAll({first, second, third});
    ASSERT_TRUE(refusals);
    EXPECT_EQ(refusals->keys(), QList<qint64>{first});
    EXPECT_EQ(tried.size(), 1);
    EXPECT_TRUE(outbox.entries()->isEmpty());

    add(u"e"_s, u"4"_s); // is being sent
    const qint64 fifth = add(u"e"_s, u"5"_s);
    EXPECT_TRUE(outbox.drop(fifth));
    finishAll();
    EXPECT_THAT(tried, ElementsAre(u"1"_s, u"4"_s));
}

TEST_F(VXOutboxTest, WhatAnotherProcessLeavesIsSentToo)
{
    const qint64 number = add(u"d"_s, u"t"_s);
    const auto runner = startRunner();
    finishAll();
    ASSERT_EQ(stateOf(number), VXOutboxState::Sent);
    changeStore(u"UPDATE VX_VXOutboxEntry SET state = 0"_s);
    EXPECT_TRUE(VXRunUntil([&] { return tried.size() == 2; }));
    waiting.clear();
}

// What came of a try is not forgotten where the store cannot be written just then, and nothing is sent twice for it.
TEST_F(VXOutboxTest, AnOutcomeThatCanNotBeWrittenIsWrittenLater)
{
    const qint64 sent = add(u"d"_s, u"sent"_s);
    const qint64 later = add(u"e"_s, u"later"_s);
    outcomes[u"later"_s] = {Outcome::NotDelivered};
    auto runner = startRunner();
    const auto finishUnwritten = [this] {
        changeStore(u"ALTER TABLE VX_VXOutboxEntry RENAME TO gone"_s);
        finishAll();
        changeStore(u"ALTER TABLE gone RENAME TO VX_VXOutboxEntry"_s);
    };
    finishUnwritten();
    EXPECT_FALSE(runner->isBusy());
    EXPECT_EQ(stateOf(sent), VXOutboxState::Sending);
    VXOutboxRunner::settleInterrupted(outbox); // as another process does: it is not interrupted
    ASSERT_TRUE(
        finishUntil([&] { return stateOf(sent) == VXOutboxState::Sent && stateOf(later) == VXOutboxState::Sent; }));
    EXPECT_THAT(tried, ElementsAre(u"sent"_s, u"later"_s, u"later"_s));
    const qint64 last = add(u"d"_s, u"last"_s);
    ASSERT_TRUE(VXRunUntil([&] { return tried.size() == 4; }));
    finishUnwritten();
    runner.reset();
    EXPECT_EQ(stateOf(last), VXOutboxState::Sent);
}

TEST_F(VXOutboxTest, ADelayThatIsNoneIsTheUsualOne)
{
    const struct
    {
        QVariant setting;
        int delay; // in tenths of a second
    } cases[] = {{3, 30}, {0, 1}, {-5, 100}, {u"soon"_s, 100}, {u"nan"_s, 100}, {qQNaN(), 100}, {1e30, 36000}};
    for (const auto &[setting, delay] : cases) {
        VXUserDefaults::standardUserDefaults().setObject(setting, u"outbox.retry-delay"_s);
        const qint64 number = add(u"d"_s, u"t"_s);
        outcomes[u"t"_s] = {Outcome::NotDelivered};
        const auto runner = startRunner();
        const QDateTime before = QDateTime::currentDateTimeUtc();
        finishAll();
        EXPECT_GE(before.msecsTo(outbox.entry(number)->nextDate) / 100, delay) << setting.toString().toStdString();
        EXPECT_LT(before.msecsTo(outbox.entry(number)->nextDate) / 100, delay + 50);
        outbox.drop(number);
    }
}

TEST_F(VXOutboxTest, AClockThatWasPutBackKeepsNothingWaiting)
{
    VXUserDefaults::standardUserDefaults().setObject(100, u"outbox.retry-delay"_s);
    const struct
    {
        int secondsAhead;
        bool isTried;
    } cases[] = {{90, false}, {600, true}};
    for (const auto &[secondsAhead, isTried] : cases) {
        VXOutboxEntry entry = *outbox.entry(add(QString::number(secondsAhead), u"t"_s));
        entry.attempts = 1;
        entry.nextDate = QDateTime::currentDateTimeUtc().addSecs(secondsAhead);
        ASSERT_TRUE(outbox.update(entry));
        tried.clear();
        startRunner();
        EXPECT_EQ(tried.size(), isTried ? 1 : 0) << secondsAhead;
    }
    waiting.clear();
}

TEST_F(VXOutboxTest, WaitsLongerAfterEachTry)
{
    VXUserDefaults::standardUserDefaults().setObject(100, u"outbox.retry-delay"_s);
    const qint64 number = add(u"d"_s, u"t"_s);
    outcomes[u"t"_s] = QList<Outcome>(8, Outcome::NotDelivered);
    const auto runner = makeRunner();
    QList<qint64> delays;
    for (int round = 0; round < 8; ++round) {
        runner->run();
        const QDateTime before = QDateTime::currentDateTimeUtc();
        finishAll();
        delays.append(qRound64(double(before.msecsTo(outbox.entry(number)->nextDate)) / 100'000.0));
        runner->run();
        EXPECT_EQ(tried.size(), round + 1) << "not before its time";
        outbox.retry(number);
    }
    EXPECT_THAT(delays, ElementsAre(1, 2, 4, 8, 16, 32, 36, 36)); // up to an hour
}

} // namespace
