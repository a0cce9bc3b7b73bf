#include <ac/com/Deadline_guard.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <ac/com/runtime/Component_singleton.h>

#include "platform/com/testing/Await.h"

namespace ac::com {
namespace {

using eb::com::runtime::testing::eventually;
constexpr unsigned long HOUR = 3'600'000;

TEST(Deadline_guard_test, OverrunIsToldWithItsTimeInMilliseconds) {
    std::optional<unsigned long> told;
    auto const begin = std::chrono::steady_clock::now();
    {
        Deadline_guard const guard(1, [&](unsigned long time) { told = time; });
        ASSERT_TRUE(eventually(
            [&] { return std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(5); }));
        EXPECT_FALSE(told) << "not before the end";
    }
    ASSERT_TRUE(told);
    EXPECT_GE(*told, 4U);
    EXPECT_LT(*told, HOUR);
}

TEST(Deadline_guard_test, WithinTheLimitNothingIsTold) {
    bool told = false;
    {
        Deadline_guard const guard(HOUR, [&](unsigned long) { told = true; });
    }
    EXPECT_FALSE(told);
}

TEST(Deadline_guard_test, WhatTheFunctionThrowsIsDroppedAndNoneIsNeeded) {
    auto const begin = std::chrono::steady_clock::now();
    Deadline_guard const throws(0, [](unsigned long) { throw 1; });
    Deadline_guard const silent(0, nullptr);
    ASSERT_TRUE(
        eventually([&] { return std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(5); }));
}

/// With a runtime, whose io thread looks.
class Watched_guard_test : public testing::Test {
protected:
    void report(unsigned long time) {
        std::lock_guard const lock(m_mutex);
        m_times.push_back(time);
    }
    std::vector<unsigned long> reports() {
        std::lock_guard const lock(m_mutex);
        return m_times;
    }

    std::optional<runtime::Component_singleton> m_runtime{std::in_place, false, "test"};

private:
    std::mutex m_mutex;
    std::vector<unsigned long> m_times;  // guarded by m_mutex
};

TEST_F(Watched_guard_test, FunctionThatHangsIsReportedWhileItHangsAndOnceMoreWhenItEnds) {
    {
        Deadline_guard const guard(2, [this](unsigned long time) { report(time); });
        ASSERT_TRUE(eventually([this] { return !reports().empty(); }));
    }
    ASSERT_EQ(reports().size(), 2U);
    EXPECT_GE(reports()[0], 4U);
    EXPECT_GE(reports()[1], reports()[0]);
}

TEST_F(Watched_guard_test, EarlierDeadlineIsNotHeldUpByALaterOne) {
    Deadline_guard const later(HOUR, [](unsigned long) { ADD_FAILURE() << "not late"; });
    Deadline_guard const sut(1, [this](unsigned long time) { report(time); });
    EXPECT_TRUE(eventually([this] { return !reports().empty(); }));
}

TEST_F(Watched_guard_test, EveryFunctionThatHangsIsReported) {
    std::atomic<int> reported{0};
    {
        Deadline_guard const first(1, [&](unsigned long) { ++reported; });
        Deadline_guard const second(20, [&](unsigned long) { ++reported; });
        Deadline_guard const third(1, [&](unsigned long) { ++reported; });
        EXPECT_TRUE(eventually([&] { return reported == 3; }));
        Deadline_guard const afterALook(1, [&](unsigned long) { ++reported; });
        EXPECT_TRUE(eventually([&] { return reported == 4; }));
    }
    EXPECT_EQ(reported, 8);
}

TEST_F(Watched_guard_test, GuardEndsAfterTheReportThatRuns) {
    std::atomic<bool> inside{false}, go{false}, gone{false};
    std::thread owner([&] {
        {
            Deadline_guard const guard(1, [&](unsigned long) {
                if (inside.exchange(true)) return;  // the last report, by this thread
                EXPECT_TRUE(eventually([&] { return go.load(); }));
                EXPECT_FALSE(gone);
            });
            EXPECT_TRUE(eventually([&] { return inside.load(); }));
        }
        gone = true;
    });
    EXPECT_TRUE(eventually([&] { return inside.load(); }));
    go = true;
    owner.join();
}

TEST_F(Watched_guard_test, WithoutARuntimeFunctionIsReportedWhenItEnds) {
    {
        Deadline_guard const guard(50, [this](unsigned long time) { report(time); });
        m_runtime.reset();
        auto const begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(eventually(
            [&] { return std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(120); }));
    }
    EXPECT_GE(reports().size(), 1U);
    m_runtime.emplace(false, "test");
    std::size_t const before = reports().size();
    Deadline_guard const next(1, [this](unsigned long time) { report(time); });
    EXPECT_TRUE(eventually([&] { return reports().size() > before; }));
}

TEST_F(Watched_guard_test, ShortFunctionsOnManyThreadsAreNotReported) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this] {
            for (int i = 0; i < 5000; ++i)
                Deadline_guard const guard(HOUR, [this](unsigned long time) { report(time); });
        });
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(reports().empty());
}

}  // namespace
}  // namespace ac::com
