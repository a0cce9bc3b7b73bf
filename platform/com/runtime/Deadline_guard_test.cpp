#include <ac/com/Deadline_guard.h>

#include <gtest/gtest.h>

#include <chrono>
#include <optional>

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

}  // namespace
}  // namespace ac::com
