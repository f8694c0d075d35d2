#include "VXThread.h"
#include "VXTesting.h"

#include <set>
#include <thread>

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
