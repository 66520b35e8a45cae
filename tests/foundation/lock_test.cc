// PortableMutex and ScopedLock under contention.
#include "qorbasic/lock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(LockTest, ScopedLockExcludesOtherThreads) {
    PortableMutex mutex;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                ScopedLock hold(mutex);
                ++counter;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counter, 40000);
}
