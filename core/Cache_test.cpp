#include "core/Cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    auto const lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 4);
    EXPECT_EQ(lines[0].prefix, "Cache::");
    EXPECT_EQ(lines[0].text, "Cache initialized");
}

}  // namespace
