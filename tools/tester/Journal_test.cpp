#include "tools/tester/Journal.h"

#include <gtest/gtest.h>

#include <thread>

namespace tester {
namespace {

using namespace std::chrono_literals;

TEST(JournalTest, GivesWhatCameInItsOrder) {
    Journal<int> journal;
    journal.add(1);
    journal.add(2);
    auto const entries = journal.take(0ms, {});
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].thing, 1);
    EXPECT_EQ(entries[1].thing, 2);
    EXPECT_LE(entries[0].time, entries[1].time);
    EXPECT_TRUE(journal.take(0ms, {}).empty());
}

TEST(JournalTest, WaitsForTheFirstAndEndsOnRequest) {
    Journal<int> journal;
    std::jthread const writer([&] { journal.add(7); });
    EXPECT_EQ(journal.take(20s, {}).size(), 1U);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_TRUE(journal.take(20s, stop.get_token()).empty());
}

TEST(JournalTest, DropsAndCountsWhatFindsItFull) {
    Journal<int> journal;
    for (std::size_t number = 0; number < Journal<int>::LIMIT + 3; ++number) journal.add(0);
    EXPECT_EQ(journal.takeDropped(), 3U);
    EXPECT_EQ(journal.takeDropped(), 0U);
    EXPECT_EQ(journal.take(0ms, {}).size(), Journal<int>::LIMIT);
}

}  // namespace
}  // namespace tester
