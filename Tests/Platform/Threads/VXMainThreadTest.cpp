#include "VXMainThread.h"
#include "VXException.h"
#include "VXTesting.h"
#include "VXWorkerThreads.h"

#include <QtCore/QCoreApplication>

#include <atomic>
#include <thread>

#include <pthread.h>

using namespace Qt::StringLiterals;

TEST(VXMainThread, WorkOfTheMainThreadItselfRunsAtOnce)
{
    ASSERT_TRUE(VXMainThread::isCurrent());
    bool ran = false;
    VXMainThread::perform([&ran] { ran = true; });
    EXPECT_TRUE(ran);
    EXPECT_TRUE(VXMainThread::performAndWait([&ran] { ran = false; }));
    EXPECT_FALSE(ran);
}

TEST(VXMainThread, CallsArriveInOrderAndAreWaitedFor)
{
    std::vector<int> order; // touched on the main thread only
    std::atomic<bool> done{false};
    std::thread worker([&] {
        EXPECT_FALSE(VXMainThread::isCurrent());
        for (int number = 0; number < 100; ++number)
            VXMainThread::perform([&order, number] { order.push_back(number); });
        size_t seen = 0;
        EXPECT_TRUE(VXMainThread::performAndWait([&] {
            EXPECT_TRUE(VXMainThread::isCurrent());
            seen = order.size();
        }));
        EXPECT_EQ(seen, 100U);
        done = true;
    });
    EXPECT_TRUE(VXRunUntil([&done] { return done.load(); }));
    worker.join();
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(VXMainThread, ANestedEventLoopStillServesCalls)
{
    std::atomic<bool> done{false};
    std::thread worker([&done] {
        VXMainThread::perform([&done] {
            // As a modal window would: this call ends only when a later one has run.
            EXPECT_TRUE(VXRunUntil([&done] { return done.load(); }));
        });
        EXPECT_TRUE(VXMainThread::performAndWait([&done] { done = true; }));
    });
    EXPECT_TRUE(VXRunUntil([&done] { return done.load(); }));
    worker.join();
}

TEST(VXMainThread, ExceptionsGoToWhoWaitsAndElseIntoADiagnostic)
{
    const VXDiagnosticRecorder recorder;
    std::atomic<bool> done{false};
    std::thread worker([&done] {
        VXMainThread::perform([] { throw VXException(u"Name"_s, u"nobody waits"_s); });
        EXPECT_THROW(static_cast<void>(VXMainThread::performAndWait([] { VXFailAssertion(u"somebody waits"_s); })),
                     VXAssertionException);
        done = true;
    });
    EXPECT_TRUE(VXRunUntil([&done] { return done.load(); }));
    worker.join();
    ASSERT_EQ(recorder.texts().size(), 1);
    EXPECT_THAT(recorder.texts().first().toStdString(),
                testing::MatchesRegex("Work on the main thread, of .*PlatformTests, threw Name: nobody waits"));
}

// In a process of its own, which ends its application while a thread hands over work.
TEST(VXMainThreadDeathTest, WhatWasAcceptedRunsBeforeTheApplicationEnds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atomic<int> accepted{0};
            std::atomic<int> done{0};
            std::thread worker([&] {
                while (VXMainThread::perform([&done] { ++done; }))
                    ++accepted;
                while (VXMainThread::performAndWait([&done] { ++done; }))
                    ++accepted;
            });
            while (accepted < 100)
                std::this_thread::yield();
            qApp->~QCoreApplication();
            worker.join();
            std::_Exit(done == accepted ? 7 : 1); // the test program ends without its application object
        },
        testing::ExitedWithCode(7), "");
}

// The same for work on threads of their own: it is told when nobody takes calls any more, and awaited.
TEST(VXMainThreadDeathTest, WorkOnOtherThreadsEndsAfterTheCalls)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atomic<bool> mayWork = true;
            std::atomic<bool> isServed = false;
            std::atomic<int> ended = 0;
            bool isLast = false;
            const auto end = [&] { isLast = VXMainThread::hasEnded() && ended == 2; };
            bool isDone = VXMainThread::performAtEnd(end); // what was given later comes first
            for (int thread = 0; thread < 2; ++thread) {
                const auto work = [&] {
                    isServed = VXMainThread::performAndWait([] {});
                    while (mayWork)
                        std::this_thread::yield();
                    ++ended;
                };
                isDone = VXWorkerThreads::shared().start(work, [&] { mayWork = false; }) && isDone;
            }
            isDone = VXRunUntil([&] { return isServed.load(); }) && isDone;
            qApp->~QCoreApplication();
            isDone = isDone && !VXWorkerThreads::shared().start([] {}, [] {}) && !VXMainThread::performAtEnd([] {});
            std::_Exit(isDone && isLast ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

// A default stack that no address space holds: the system has no thread to give.
TEST(VXMainThreadDeathTest, WorkThatCouldNotBeStartedIsNotAwaited)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            pthread_attr_t attributes;
            pthread_attr_init(&attributes);
            pthread_attr_setstacksize(&attributes, size_t(1) << 50);
            pthread_setattr_default_np(&attributes);
            bool isStopped = false;
            const bool isStarted = VXWorkerThreads::shared().start([] {}, [&] { isStopped = true; });
            qApp->~QCoreApplication();
            std::_Exit(!isStarted && !isStopped ? 7 : 1);
        },
        testing::ExitedWithCode(7), "could not be started");
}
