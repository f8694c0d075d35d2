#include "VXDeviceAction.h"

#include "VXActivityManager.h"
#include "VXDeviceActionDelays.h"
#include "VXDeviceTesting.h"
#include "VXException.h"
#include "VXMainThread.h"

#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/** A device whose one handler the test gives. */
class Phone : public VXDevicePlugin
{
public:
    Phone() { initWithURL(QUrl(u"vxdevice://localhost/p/d"_s)); }
    QString name() const override { return u"Nokia"_s; }
    void handle(const VXDeviceActionHandler::Call &call) { registerActionHandler(u"call"_s, {this, call}, false); }
};

/** Who waits for an action, and what it found when it was called back. */
class Delegate : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void didComplete(VXDeviceAction *action, const QVariant &info = {})
    {
        ++calls;
        found = VXMainThread::isCurrent() && action->isExecuting();
        hadActivity = action->activity() != nullptr;
        code = action->error().code();
        userInfo = info;
    }

    int calls = 0;
    bool found = false;
    bool hadActivity = false;
    int code = 0;
    QVariant userInfo;
};

/** An action that blocks the thread it is executed on. */
class ThreadedAction : public VXDeviceAction
{
public:
    using VXDeviceAction::VXDeviceAction;
    void execute() override { executeThreaded(); }
};

} // namespace

class VXDeviceActionTest : public VXHomeTest
{
protected:
    VXDeviceActionTest() { VXSetDeviceActionDelays(60s, 1h); }

    void execute(const QVariant &info = {}) { action->executeWithDevice(phone, &delegate, "didComplete", info); }
    // Runs the work on a thread of its own while the main thread serves events.
    static void onThread(
        const std::function<void()> &work, const std::function<void()> &meanwhile = [] {})
    {
        std::atomic<bool> isDone = false;
        std::thread worker([&] {
            work();
            isDone = true;
        });
        meanwhile();
        EXPECT_TRUE(VXRunUntil([&] { return isDone.load(); }));
        worker.join();
    }
    static qsizetype allActivities() { return VXActivityManager::sharedActivityManager().activities().size(); }
    qsizetype activities() const { return allActivities() - activitiesBefore; }
    qsizetype warnings(const QString &text) const { return log.lines(u"WARNING"_s).filter(text).size(); }

    const qsizetype activitiesBefore = allActivities();
    const std::shared_ptr<Phone> phone = std::make_shared<Phone>();
    const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(u"call"_s);
    Delegate delegate;
    VXLogRecorder log;
};

TEST_F(VXDeviceActionTest, ConcludesAtOnceOrLater)
{
    for (const bool later : {false, true}) {
        phone->handle([later](VXDeviceAction *handled) {
            EXPECT_EQ(handled->activity()->title(), u"[Nokia] call"_s);
            EXPECT_EQ(handled->activity()->delegate(), handled); // its stop button cancels
            handled->setProgressMaxValue(3);
            handled->setProgressValue(1);
            handled->incrementProgress();
            EXPECT_EQ(handled->progressValue(), 2);
            handled->setResult(handled->object());
            if (!later)
                handled->conclude();
        });
        action->setObject(u"555"_s);
        execute(7);
        if (later) {
            EXPECT_EQ(delegate.calls, 1) << "not yet again";
            EXPECT_EQ(activities(), 1);
            EXPECT_EQ(VXReasonOfAssertion([this] { execute(); }), u"Action is already executing: call"_s);
            action->conclude();
            action->conclude(); // one too many
        }
        EXPECT_EQ(delegate.calls, later ? 2 : 1);
        EXPECT_TRUE(delegate.found && delegate.hadActivity);
        EXPECT_EQ(delegate.userInfo, QVariant(7));
        EXPECT_FALSE(action->isExecuting());
        EXPECT_EQ(action->result(), QVariant(u"555"_s));
        EXPECT_EQ(activities(), 0);
    }
    EXPECT_EQ(action.use_count(), 1) << "it held itself only while it executed";
    EXPECT_TRUE(action->description().endsWith(u"> call no error"_s)) << action->description().toStdString();
}

TEST_F(VXDeviceActionTest, ExecutedAgainAtItsEndItHoldsItselfToo)
{
    VXDeviceAction *running = nullptr;
    phone->handle([&running](VXDeviceAction *handled) { running = handled; });
    VXDeviceAction::Ptr again = VXDeviceAction::actionWithName(u"call"_s);
    const std::weak_ptr<VXDeviceAction> watched = again;
    QObject::connect(
        again.get(), &VXDeviceAction::didConclude, again.get(), [&] { watched.lock()->executeWithDevice(phone); },
        Qt::SingleShotConnection);
    again->executeWithDevice(phone);
    again.reset();
    running->setResult(u"555"_s);
    running->conclude();
    ASSERT_FALSE(watched.expired());
    EXPECT_TRUE(running->isExecuting());
    EXPECT_FALSE(running->result().isValid()); // that was of the time before
    running->conclude();
    EXPECT_TRUE(watched.expired());
}

TEST_F(VXDeviceActionTest, WithoutAHandlerItFailsAndShowsNothing)
{
    execute();
    EXPECT_EQ(delegate.calls, 1);
    EXPECT_FALSE(delegate.hadActivity);
    EXPECT_EQ(action->error(),
              VXError(VXErrorDomain, 2,
                      {{VXLocalizedDescriptionKey, u"Nokia did not respond."_s},
                       {VXLocalizedRecoverySuggestionKey, u"Use the preferences to enable services for this device."_s},
                       {u"VXErrorDomainActionName"_s, u"call"_s},
                       {u"VXErrorDomainDeviceURL"_s, phone->url()}}));
}

TEST_F(VXDeviceActionTest, WhateverAHandlerThrowsTheActionEndsWithAnError)
{
    const std::pair<std::function<void()>, QString> cases[] = {
        {[] { throw VXException(u"Broken"_s, u"no card"_s); }, u"no card"_s},
        {[] { throw std::runtime_error("not ours"); }, u"not ours"_s},
        {[] { throw 7; }, u"a value of type int"_s},
    };
    for (const auto &[fail, reason] : cases) {
        const auto failing = VXDeviceAction::actionWithName(u"call"_s);
        phone->handle([&fail = fail](VXDeviceAction *) { fail(); });
        try {
            failing->executeWithDevice(phone, &delegate, "didComplete");
            EXPECT_NE(reason, u"a value of type int"_s) << "what is no exception goes on";
        } catch (int thrown) {
            EXPECT_EQ(thrown, 7);
        }
        EXPECT_FALSE(failing->isExecuting());
        EXPECT_EQ(failing->error().code(), 2);
        EXPECT_EQ(failing->error().localizedDescription(), u"Unable to execute call on Nokia."_s);
        EXPECT_EQ(failing->error().localizedRecoverySuggestion(), reason);
    }
    EXPECT_EQ(delegate.calls, 3);
    EXPECT_EQ(log.lines(u"ERROR"_s).filter(u"An exception was thrown while processing a device action:"_s).size(), 3);
}

TEST_F(VXDeviceActionTest, TellsBySignalsHowItGoes)
{
    QStringList told;
    QObject::connect(action.get(), &VXDeviceAction::progressDidChange,
                     [&] { told << u"progress %1"_s.arg(action->progressValue()); });
    QObject::connect(action.get(), &VXDeviceAction::errorDidOccur,
                     [&](const VXError &error) { told << u"error %1"_s.arg(error.code()); });
    QObject::connect(action.get(), &VXDeviceAction::cancelRequested, [&] { told << u"cancel"_s; });
    QObject::connect(action.get(), &VXDeviceAction::didConclude, [&] {
        told << u"concluded %1"_s.arg(action->isExecuting());
        throw std::runtime_error("a slot threw");
    });
    phone->handle([](VXDeviceAction *handled) {
        const auto shown = handled->activity();
        handled->setTitle(u"Reading"_s);
        EXPECT_EQ(handled->activity(), shown);
        handled->incrementProgress();
        handled->setResult(handled->progressValue());
        QObject::connect(handled, &VXDeviceAction::cancelRequested, handled, [handled] { handled->conclude(); });
    });
    execute();
    action->cancel();
    EXPECT_EQ(told, (QStringList{u"progress 0"_s, u"progress 0"_s, u"progress 1"_s, u"error 34"_s, u"cancel"_s,
                                 u"concluded 0"_s}));
    EXPECT_EQ(log.count(u"A slot connected to an action threw: std::runtime_error: a slot threw"_s), 1);
    action->setErrorString(u"too late"_s);
    EXPECT_EQ(told.size(), 6) << "only the error that counts is told";
}

TEST_F(VXDeviceActionTest, TheFirstErrorCountsForTheActionsLife)
{
    action->setError({});
    EXPECT_TRUE(action->error().isNull());
    action->setErrorString(u"first"_s);
    EXPECT_EQ(action->error(),
              VXError(VXErrorDomain, 3,
                      {{VXLocalizedDescriptionKey, u"first"_s}, {u"VXErrorDomainActionName"_s, u"call"_s}}));
    phone->handle([](VXDeviceAction *handled) {
        handled->setErrorString(u"second"_s);
        handled->conclude();
    });
    execute();
    EXPECT_EQ(action->error().localizedDescription(), u"first"_s);
    EXPECT_EQ(warnings(u"Ignoring error after previous error: second"_s), 1);
}

TEST_F(VXDeviceActionTest, AnAbortIsTheErrorAndTheHandlerEndsIt)
{
    phone->handle([](VXDeviceAction *) {});
    execute();
    action->cancel();
    EXPECT_TRUE(action->isCancelled() && action->isExecuting());
    action->setErrorString(u"cut off"_s);
    action->conclude();
    EXPECT_EQ(delegate.code, 34);
    EXPECT_EQ(warnings(u"Ignoring error after abort: cut off"_s), 1);
    EXPECT_EQ(action.use_count(), 1) << "the watchdog let go";
}

TEST_F(VXDeviceActionTest, TheWatchdogEndsWhatDoesNotConclude)
{
    VXSetDeviceActionDelays(0s, 1h);
    phone->handle([](VXDeviceAction *) {});
    action->setTaker([](const auto &, const auto &) { ADD_FAILURE() << "nobody waits for it any more"; });
    execute();
    action->cancel();
    EXPECT_TRUE(VXRunUntil([this] { return !action->isExecuting(); }));
    EXPECT_EQ(delegate.calls, 1);
    EXPECT_FALSE(action->handOver({}));
    const QString line = u"_deviceFailedToRespondToCancel:] "_s + action->description();
    EXPECT_EQ(warnings(line), 1);

    execute();
    action->cancel(&delegate); // with a sender it is not withdrawn, and ends the action again
    action->conclude();
    EXPECT_TRUE(VXRunUntil([&] { return warnings(line) == 2; }));
    EXPECT_EQ(delegate.calls, 2);

    execute();
    onThread([this] { action->cancel(); }); // which has no event loop: the main thread's is taken
    EXPECT_TRUE(VXRunUntil([this] { return delegate.calls == 3; }));
    EXPECT_GT(action.use_count(), 1) << "the handler may still use it";
    action->conclude();
    EXPECT_EQ(action.use_count(), 1);
}

TEST_F(VXDeviceActionTest, AThreadWaitsForTheConclusion)
{
    // The interval of polls is longer than any test: only the conclusion ends the wait.
    phone->handle([](VXDeviceAction *handled) { handled->conclude(); });
    onThread(
        [this] { std::make_shared<ThreadedAction>(u"call"_s)->executeWithDevice(phone, &delegate, "didComplete"); });
    EXPECT_EQ(delegate.calls, 1);
    phone->handle([](VXDeviceAction *handled) { VXMainThread::perform([handled] { handled->conclude(); }); });
    onThread([this] {
        action->executeThreadedWithDevice(phone, [this](VXDeviceAction *done) { delegate.didComplete(done); });
        EXPECT_FALSE(action->isExecuting());
    });
    EXPECT_EQ(delegate.calls, 2);
    EXPECT_TRUE(delegate.found) << "told on the main thread";

    VXSetDeviceActionDelays(60s, 0ms);
    phone->handle([](VXDeviceAction *) {});
    onThread([this] { action->executeThreadedWithDevice(phone); },
             [this] {
                 EXPECT_TRUE(
                     VXRunUntil([this] { return warnings(u"waiting for action: "_s + action->description()) > 1; }));
                 action->conclude();
             });
}

// In a process of its own, which ends its application while actions run on a thread.
TEST(VXDeviceActionDeathTest, NoneStaysExecutingWhenTheApplicationEnds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [](const VXDeviceActionHandler::Call &end) {
        VXSetDeviceActionDelays(60s, 1ms);
        const auto phone = std::make_shared<Phone>();
        const auto action = std::make_shared<VXDeviceAction>(u"call"_s);
        std::atomic<bool> isStarted = false;
        std::atomic<bool> isTold = false;
        phone->handle([&](VXDeviceAction *handled) {
            isStarted = true;
            while (!VXMainThread::hasEnded())
                std::this_thread::yield();
            end(handled);
        });
        std::thread worker([&] { action->executeThreadedWithDevice(phone, [&](VXDeviceAction *) { isTold = true; }); });
        EXPECT_TRUE(VXRunUntil([&] { return isStarted.load(); }));
        qApp->~QCoreApplication();
        worker.join();
        std::_Exit(action->isCancelled() && !action->isExecuting() && !isTold ? 7 : 1);
    };
    EXPECT_EXIT(run([](VXDeviceAction *handled) { handled->conclude(); }), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(run([](VXDeviceAction *handled) { handled->cancel(nullptr); }), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(run([](VXDeviceAction *handled) { VXMainThread::perform([handled] { handled->conclude(); }); }),
                testing::ExitedWithCode(7), "");
}

TEST_F(VXDeviceActionTest, MistakesOfCallersAreContained)
{
    EXPECT_EQ(VXReasonOfAssertion([] { VXDeviceAction::actionWithName({}); }), u"theActionName can not be nil"_s);
    EXPECT_EQ(VXReasonOfAssertion([this] { action->executeWithDevice(nullptr); }), u"theDevice can not be nil: call"_s);
    EXPECT_EQ(VXReasonOfAssertion([this] { action->executeWithDevice(phone, &delegate, "none"); }),
              u"Target does not respond to none: Delegate"_s);
    EXPECT_FALSE(action->isExecuting());

    action->executeWithDevice(phone, [](VXDeviceAction *) { throw std::runtime_error("thrown as told"); });
    EXPECT_FALSE(action->isExecuting());
    EXPECT_EQ(log.count(u"The completion of an action threw: std::runtime_error: thrown as told"_s), 1);
    EXPECT_EQ(action->error().code(), VXErrorCouldNotExecute);
}

TEST_F(VXDeviceActionTest, TheObjectsContextLivesAsLong)
{
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> watched = held;
    QObject record;
    record.setProperty("managedObjectContext", QVariant::fromValue(std::exchange(held, nullptr)));
    action->setObject(QVariant::fromValue(&record));
    record.setProperty("managedObjectContext", QVariant());
    EXPECT_FALSE(watched.expired());
    action->setObject(u"text"_s);
    EXPECT_TRUE(watched.expired());

    QVariant found; // the end of what is let go of may ask the action
    const auto end = [&](int *gone) {
        delete gone;
        found = action->object();
    };
    action->setObject(QVariant::fromValue(std::shared_ptr<int>(new int, end)));
    action->setObject(7);
    EXPECT_EQ(found, QVariant(7));
}

#include "VXDeviceActionTest.moc"
