#include "VXPageMemory.h"
#include "VXTesting.h"

#include <algorithm>
#include <thread>
#include <vector>

TEST(VXPageMemoryTest, APageHasOneHolderAtATimeWhateverThreadLetsGoOfIt)
{
    constexpr size_t threadCount = 4;
    constexpr size_t pageCount = 3000; // more than a region has
    constexpr size_t words = VXPageMemory::pageSize / sizeof(size_t);
    const size_t before = VXPageMemory::usedBytes();
    std::vector<size_t *> pages(pageCount);
    const auto onThreads = [](const auto &work) {
        std::vector<std::thread> threads;
        for (size_t number = 0; number < threadCount; ++number)
            threads.emplace_back(work, number);
        for (std::thread &thread : threads)
            thread.join();
    };
    const auto take = [&](size_t place) {
        pages[place] = static_cast<size_t *>(VXPageMemory::allocate(VXPageMemory::pageSize));
        std::fill_n(pages[place], words, place);
    };
    const auto giveBack = [&](size_t place) {
        EXPECT_EQ(size_t(std::count(pages[place], pages[place] + words, place)), words) << place;
        VXPageMemory::release(pages[place], VXPageMemory::pageSize);
    };
    onThreads([&](size_t thread) {
        for (size_t place = thread; place < pageCount; place += threadCount)
            take(place);
    });
    onThreads([&](size_t thread) { // those of another one, every third for good
        for (size_t place = (thread + 1) % threadCount; place < pageCount; place += threadCount) {
            giveBack(place);
            if (place % 3 != 0)
                take(place);
        }
    });
    for (size_t place = 0; place < pageCount; ++place) {
        if (place % 3 != 0)
            giveBack(place);
    }
    EXPECT_EQ(VXPageMemory::usedBytes(), before);
}
