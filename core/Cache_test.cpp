#include "core/Cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/support/DiagLog.h"

namespace {

using Bytes = std::vector<unsigned char>;

class CacheTest : public testing::Test {
protected:
    void add(unsigned short id, Bytes bytes) { cache.addToCache(id, bytes.size(), bytes.data()); }
    bool cached(unsigned short id, Bytes bytes) { return cache.isCached(id, bytes.size(), bytes.data()); }

    test::DiagLog log;
    zvg::val::Cache cache;
};

TEST_F(CacheTest, KnowsNothingAtFirst) {
    EXPECT_FALSE(cached(2349, {1, 2}));
    EXPECT_FALSE(cached(2349, {}));
    EXPECT_EQ(cache.count(), 0U);
    EXPECT_EQ(cache.totalSize(), 0U);
}

TEST_F(CacheTest, FindsTheSameBytesOfTheSameId) {
    add(2349, {1, 2});
    EXPECT_TRUE(cached(2349, {1, 2}));
    EXPECT_FALSE(cached(2349, {1, 3}));
    EXPECT_FALSE(cached(2350, {1, 2}));
}

TEST_F(CacheTest, TakesAnEmptyPayloadForAStoredEmptyOne) {
    cache.addToCache(600, 0, nullptr);
    EXPECT_TRUE(cache.isCached(600, 0, nullptr));
    EXPECT_EQ(cache.count(), 1U);
}

TEST_F(CacheTest, TellsPayloadsOfDifferentLengthApart) {
    add(2349, {1, 2});
    EXPECT_FALSE(cached(2349, {1}));
    EXPECT_FALSE(cached(2349, {1, 2, 0}));
    EXPECT_FALSE(cached(2349, {}));
}

TEST_F(CacheTest, KeepsOnlyTheLatestPayloadOfAnId) {
    add(2349, {1});
    add(2349, {2});
    EXPECT_FALSE(cached(2349, {1}));
    EXPECT_TRUE(cached(2349, {2}));
    EXPECT_EQ(cache.count(), 1U);
}

TEST_F(CacheTest, ForgetsNoneOfAllTheIdsThatThereCanBe) {
    for (unsigned id = 0; id <= 0xFFFF; ++id)
        add(static_cast<unsigned short>(id),
            {static_cast<unsigned char>(id), static_cast<unsigned char>(id >> 8U)});
    EXPECT_EQ(cache.count(), 65536U);
    EXPECT_EQ(cache.totalSize(), 2 * 65536U);
    for (unsigned id = 0; id <= 0xFFFF; ++id) {
        ASSERT_TRUE(cached(static_cast<unsigned short>(id),
                           {static_cast<unsigned char>(id), static_cast<unsigned char>(id >> 8U)}))
            << id;
    }
}

TEST_F(CacheTest, CountsWhatManyThreadsAddAndForgetAtOnce) {
    constexpr unsigned THREADS = 4;
    constexpr unsigned IDS = 500;
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([this, thread] {
            for (unsigned i = 0; i < IDS; ++i) {
                auto const id = static_cast<unsigned short>(thread * IDS + i);
                add(id, {1, 2, 3});
                EXPECT_TRUE(cached(id, {1, 2, 3}));
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(cache.count(), THREADS * IDS);
    EXPECT_EQ(cache.totalSize(), 3 * THREADS * IDS);
}

TEST_F(CacheTest, HoldsAPayloadOfAnyLength) {
    Bytes const longest(70'000, 7);
    add(600, longest);
    EXPECT_TRUE(cached(600, longest));
    EXPECT_EQ(cache.totalSize(), 70'000U);
}

TEST_F(CacheTest, ShrinksByTheDifferenceWhenTheLatestIsShorter) {
    add(2349, {1, 2, 3, 4, 5});
    add(546, {7, 7});
    ASSERT_EQ(cache.totalSize(), 7U);
    add(2349, {1, 2});
    EXPECT_EQ(cache.totalSize(), 4U);
    EXPECT_EQ(cache.count(), 2U);
}

TEST_F(CacheTest, ForgetsEverythingAtInitAndSaysSo) {
    add(2349, {1, 2});
    cache.init();
    EXPECT_FALSE(cached(2349, {1, 2}));
    EXPECT_EQ(cache.totalSize(), 0U);
    EXPECT_EQ(cache.count(), 0U);
    EXPECT_THAT(log.story(), testing::ElementsAre("4 Cache::init() Cache initialized"));
}

}  // namespace
