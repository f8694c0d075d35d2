#include "VXThread.h"
#include "VXTesting.h"

#include <set>
#include <thread>

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

TEST(VXThread, NumbersThreadsFromTheMainOneUpwards)
{
    EXPECT_TRUE(VXThread::vx_isMainThread());
    EXPECT_EQ(VXThread::vx_uniqueThreadID(), 0U);
    quint32 first = 0;
    quint32 again = 0;
    quint32 second = 0;
    bool isMain = true;
    std::thread([&] {
        first = VXThread::vx_uniqueThreadID();
        again = VXThread::vx_uniqueThreadID();
        isMain = VXThread::vx_isMainThread();
    }).join();
    std::thread([&second] { second = VXThread::vx_uniqueThreadID(); }).join();
    EXPECT_GE(first, 1U);
    EXPECT_EQ(again, first);
    EXPECT_EQ(second, first + 1) << "a number is not used again when its thread has ended";
    EXPECT_FALSE(isMain);
}

TEST(VXThread, TheIndexIsTheThreadsPlaceAmongAllOfTheProcess)
{
    EXPECT_EQ(VXThread::vx_threadIndex(), 0);
    int index = -1;
    std::thread([&index] { index = VXThread::vx_threadIndex(); }).join();
    EXPECT_GT(index, 0);
}

// One that were idle would keep those waiting who want a lock that it holds.
TEST(VXThread, LowPriorityIsTheThreadsOwnAndNotIdle)
{
    const int before = getpriority(PRIO_PROCESS, id_t(gettid()));
    int policy = -1;
    int nice = 0;
    std::thread([&] {
        VXThread::vx_lowerPriority();
        sched_param parameter = {};
        pthread_getschedparam(pthread_self(), &policy, &parameter);
        nice = getpriority(PRIO_PROCESS, id_t(gettid()));
    }).join();
    EXPECT_EQ(policy, SCHED_BATCH);
    EXPECT_EQ(nice, 19);
    EXPECT_EQ(getpriority(PRIO_PROCESS, id_t(gettid())), before);
}
