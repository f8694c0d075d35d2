#include "VXTask.h"

#include "VXErrorDomain.h"
#include "VXMainThread.h"
#include "VXTesting.h"

#include <atomic>
#include <thread>

namespace {

class Task : public VXTask
{
public:
    using VXTask::start;
};

} // namespace

// In a process of its own, which ends its application before the work is done.
TEST(VXTaskDeathTest, IsCancelledWhenTheApplicationEnds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const auto task = std::make_shared<Task>();
            std::atomic<bool> isTold = false;
            const auto work = [] {
                while (!VXMainThread::hasEnded())
                    std::this_thread::yield();
            };
            task->start(work, [&isTold] { isTold = true; });
            qApp->~QCoreApplication();
            while (task->isRunning())
                std::this_thread::yield();
            std::_Exit(task->error().code() == VXErrorCancelled && !isTold ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}
