#include "VXReactionQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

TEST(VXReactionQueueTest, WhatIsTakenIsDoneAlsoWhenItEndsUnderItsPosters)
{
    for (int round = 0; round < 100; ++round) {
        std::atomic<int> taken = 0;
        std::atomic<int> done = 0;
        std::atomic<bool> hasEnded = false;
        VXReactionQueue queue(3, 1000);
        std::vector<std::thread> posters;
        for (int poster = 0; poster < 2; ++poster) {
            posters.emplace_back([&] {
                while (!hasEnded) {
                    if (queue.add([&] { ++done; }))
                        ++taken;
                }
            });
        }
        while (taken < 10)
            std::this_thread::yield();
        queue.finish();
        EXPECT_FALSE(queue.add([&] { ++done; }));
        hasEnded = true;
        for (std::thread &poster : posters)
            poster.join();
        EXPECT_EQ(taken, done);
    }
}
