#include "client/StoppableMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {

using zvg::val::diag_ara::services::StoppableMutex;

constexpr std::chrono::seconds PATIENCE{20};

TEST(StoppableMutex, LetsOneInAtATime) {
    StoppableMutex sut;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 2000; ++round) {
                if (i % 2 == 0) {
                    sut.lock();
                } else if (!sut.lockUnless([] { return false; })) {
                    ADD_FAILURE() << "gave up without a reason";
                    continue;
                }
                ++count;
                sut.unlock();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 8000);
}

TEST(StoppableMutex, IsNotTakenByWhoHasAReasonToGiveUp) {
    StoppableMutex sut;
    EXPECT_FALSE(sut.lockUnless([] { return true; }));
    EXPECT_TRUE(sut.lockUnless([] { return false; })) << "nobody holds it";
    sut.unlock();
}

TEST(StoppableMutex, EverybodyWhoWaitsGivesUpOnceWoken) {
    StoppableMutex sut;
    std::atomic<bool> stopped{false};
    std::atomic<int> asked{0};
    sut.lock();
    std::vector<std::future<bool>> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.push_back(std::async(std::launch::async, [&] {
            return sut.lockUnless([&] {
                ++asked;
                return stopped.load();
            });
        }));
    }
    while (asked < 4) std::this_thread::yield();
    stopped = true;
    sut.wake();
    for (auto& one : waiting) {
        ASSERT_EQ(one.wait_for(PATIENCE), std::future_status::ready);
        EXPECT_FALSE(one.get());
    }
    sut.unlock();
}

TEST(StoppableMutex, IsHandedToSomebodyWhoWaits) {
    StoppableMutex sut;
    std::atomic<bool> asked{false};
    sut.lock();
    auto waiting = std::async(std::launch::async, [&] {
        bool const locked = sut.lockUnless([&] {
            asked = true;
            return false;
        });
        if (locked) sut.unlock();
        return locked;
    });
    while (!asked) std::this_thread::yield();
    sut.unlock();
    ASSERT_EQ(waiting.wait_for(PATIENCE), std::future_status::ready);
    EXPECT_TRUE(waiting.get());
}

}  // namespace
