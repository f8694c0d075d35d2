#include "VXBackgroundThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

using namespace std::chrono_literals;

namespace {

std::atomic<int> ended{0};

// As a library keeps one for each thread; it takes its time to go.
struct OfThread
{
    ~OfThread()
    {
        for (int turn = 0; turn < 1000; ++turn)
            std::this_thread::yield();
        ++ended;
    }
};

void touchOfThread()
{
    thread_local const OfThread own;
    static_cast<void>(own);
}

} // namespace

TEST(VXBackgroundThread, ItsOwnObjectsAreGoneWhenItsEndWasAwaited)
{
    const int before = ended;
    for (int number = 0; number < 20; ++number)
        VXBackgroundThread::start(touchOfThread);
    EXPECT_TRUE(VXBackgroundThread::awaitEnds(30s));
    EXPECT_EQ(ended, before + 20);
    EXPECT_TRUE(VXBackgroundThread::awaitEnds(0ms)); // there is none
}

TEST(VXBackgroundThread, ThoseOfAnOwnerAreAwaitedWhileOthersGoOn)
{
    const int owner = 0;
    std::promise<void> goOn;
    const int before = ended;
    VXBackgroundThread::start([&goOn] { goOn.get_future().wait(); });
    for (int number = 0; number < 20; ++number)
        VXBackgroundThread::start(touchOfThread, &owner);
    EXPECT_TRUE(VXBackgroundThread::awaitEnds(30s, &owner));
    EXPECT_EQ(ended, before + 20);
    goOn.set_value();
    EXPECT_TRUE(VXBackgroundThread::awaitEnds(30s));
}

TEST(VXBackgroundThread, OneThatGoesOnIsNotWaitedForForEver)
{
    std::promise<void> goOn;
    VXBackgroundThread::start([&goOn] { goOn.get_future().wait(); });
    VXBackgroundThread::start([] {});
    EXPECT_FALSE(VXBackgroundThread::awaitEnds(1ms));
    goOn.set_value();
    EXPECT_TRUE(VXBackgroundThread::awaitEnds(30s));
}
