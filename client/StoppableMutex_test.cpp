#include "client/StoppableMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {

using zvg::val::diag_ara::services::StoppableMutex;

constexpr std::chrono::seconds LONG_ENOUGH{20};

TEST(StoppableMutex, LetsOneInAtATime) {
    StoppableMutex sut;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 2000; ++round) {
                if (i % 2 == 0) {
                    std::lock_guard const lock(sut);
                    ++count;
                } else {
                    auto const lock = sut.lockUnless([] { return false; });
                    EXPECT_TRUE(lock.owns_lock());
                    ++count;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 8000);
}

TEST(StoppableMutex, IsNotTakenByWhoHasAReasonToGiveUp) {
    StoppableMutex sut;
    EXPECT_FALSE(sut.lockUnless([] { return true; }).owns_lock());
    EXPECT_TRUE(sut.lockUnless([] { return false; }).owns_lock()) << "nobody holds it";
    EXPECT_TRUE(sut.lockUnless([] { return false; }).owns_lock()) << "the lock before has gone";
}

/// Whether all of four who wait for a held lock give up after `act`, when they have a reason to.
bool allGiveUpAfter(void (StoppableMutex::*act)()) {
    StoppableMutex sut;
    std::atomic<bool> stopped{false};
    std::atomic<int> asked{0};
    sut.lock();
    std::vector<std::future<bool>> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.push_back(std::async(std::launch::async, [&] {
            auto const lock = sut.lockUnless([&] {
                ++asked;
                return stopped.load();
            });
            return lock.owns_lock();
        }));
    }
    while (asked < 4) std::this_thread::yield();
    stopped = true;
    (sut.*act)();
    bool all = true;
    for (auto& one : waiting) all = one.wait_for(LONG_ENOUGH) == std::future_status::ready && all;
    sut.wake();  // should one still wait
    for (auto& one : waiting) all = !one.get() && all;
    return all;
}

TEST(StoppableMutex, EverybodyWhoWaitsGivesUpOnceWoken) {
    EXPECT_TRUE(allGiveUpAfter(&StoppableMutex::wake));
}

TEST(StoppableMutex, EverybodyWhoWaitsGivesUpOnceItIsUnlocked) {
    EXPECT_TRUE(allGiveUpAfter(&StoppableMutex::unlock));
}

TEST(StoppableMutex, IsHandedToSomebodyWhoWaits) {
    StoppableMutex sut;
    std::atomic<bool> asked{false};
    sut.lock();
    auto waiting = std::async(std::launch::async, [&] {
        auto const lock = sut.lockUnless([&] {
            asked = true;
            return false;
        });
        return lock.owns_lock();
    });
    while (!asked) std::this_thread::yield();
    sut.unlock();
    ASSERT_EQ(waiting.wait_for(LONG_ENOUGH), std::future_status::ready);
    EXPECT_TRUE(waiting.get());
}

}  // namespace
