#include "tools/tester/Interruption.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>
#include <unistd.h>

namespace tester {
namespace {

/// Whether a stop is requested within seconds.
bool stopped(std::stop_token const& stop) {
    std::mutex mutex;
    std::condition_variable_any changed;
    std::unique_lock lock(mutex);
    changed.wait_for(lock, stop, std::chrono::seconds(10), [] { return false; });
    return stop.stop_requested();
}

TEST(Interruption, SignalRequestsAStop) {
    for (int const signal : {SIGINT, SIGTERM}) {
        Interruption const interruption;
        EXPECT_EQ(interruption.signal(), 0);
        kill(getpid(), signal);
        EXPECT_TRUE(stopped(interruption.stop()));
        EXPECT_EQ(interruption.signal(), signal);
    }
}

TEST(Interruption, InquiriesAreCountedAndStopNothing) {
    Interruption const interruption;
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (unsigned asked = 1; asked <= 2; ++asked) {
        kill(getpid(), SIGUSR1);
        while (interruption.inquiries() != asked && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        EXPECT_EQ(interruption.inquiries(), asked);
    }
    EXPECT_FALSE(interruption.stop().stop_requested());
    EXPECT_EQ(interruption.signal(), 0);
}

TEST(Interruption, WithoutASignalItEndsQuietly) {
    std::stop_token stop;
    { stop = Interruption().stop(); }
    EXPECT_FALSE(stop.stop_requested());
}

TEST(InterruptionDeathTest, SecondSignalEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Interruption const interruption;
            kill(getpid(), SIGINT);
            stopped(interruption.stop());
            kill(getpid(), SIGINT);
            ::pause();
        },
        testing::ExitedWithCode(130), "");
}

}  // namespace
}  // namespace tester
