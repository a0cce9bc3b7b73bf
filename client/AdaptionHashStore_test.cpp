#include "client/AdaptionHashStore.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using zvg::val::diag_ara::services::AdaptionHashStore;
using Bytes = std::vector<unsigned char>;

TEST(AdaptionHash, OfAnEmptyValueIsZero) {
    EXPECT_EQ(AdaptionHashStore::createHash({}), 0U);
}

TEST(AdaptionHash, ShiftsByOneAndFoldsByThirtyOne) {
    EXPECT_EQ(AdaptionHashStore::createHash({0x80}), 0x80U);
    EXPECT_EQ(AdaptionHashStore::createHash({1, 1}), 3U);
    EXPECT_EQ(AdaptionHashStore::createHash({0xFF, 0x01}), 0x1FFU);
    EXPECT_EQ(AdaptionHashStore::createHash({1, 2, 3}), 3U);
    // The one bit of the first byte wanders up; from bit 31 on it is folded back in, too, and is not lost.
    Bytes value(32, 0);
    value[0] = 1;
    EXPECT_EQ(AdaptionHashStore::createHash(value), std::uint64_t{1} << 31U);
    value.push_back(0);
    EXPECT_EQ(AdaptionHashStore::createHash(value), (std::uint64_t{1} << 32U) ^ 1U);
    value.push_back(0x55);
    EXPECT_EQ(AdaptionHashStore::createHash(value), (std::uint64_t{1} << 33U) ^ 2U ^ 2U ^ 0x55U);
    // Past the 64th bit it is lost above.
    Bytes longer(65, 0);
    longer[0] = 1;
    std::uint64_t expected = 0;
    for (unsigned char const byte : longer) {
        std::uint64_t const folded = expected / 0x80000000U;
        expected = (expected * 2) ^ folded ^ byte;
    }
    EXPECT_EQ(AdaptionHashStore::createHash(longer), expected);
}

TEST(AdaptionHash, DoesNotSeeLeadingZeros) {
    EXPECT_EQ(AdaptionHashStore::createHash({0, 0, 7, 9}), AdaptionHashStore::createHash({7, 9}));
    EXPECT_NE(AdaptionHashStore::createHash({7, 9, 0}), AdaptionHashStore::createHash({7, 9}));
    EXPECT_EQ(AdaptionHashStore::createHash({0, 0}), 0U);
}

TEST(AdaptionHashStore, KnowsNothingAtFirst) {
    AdaptionHashStore const sut;
    EXPECT_FALSE(sut.hasAdaptionId(149));
    EXPECT_FALSE(sut.hasAdaptionIdWithSameHash(149, {})) << "unknown, though the hash would be 0";
}

TEST(AdaptionHashStore, AddsOnceAndThenUpdates) {
    AdaptionHashStore sut;
    sut.addOrUpdateAdaptionIdIfNeeded(149, {1});
    EXPECT_TRUE(sut.hasAdaptionId(149));
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(149, {1}));
    EXPECT_FALSE(sut.hasAdaptionIdWithSameHash(149, {2}));
    EXPECT_FALSE(sut.hasAdaptionIdWithSameHash(255, {1}));
    sut.addOrUpdateAdaptionIdIfNeeded(149, {2});
    sut.addOrUpdateAdaptionIdIfNeeded(149, {2});
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(149, {2}));
    EXPECT_FALSE(sut.hasAdaptionIdWithSameHash(149, {1})) << "it was replaced, not added";
}

TEST(AdaptionHashStore, FindsAnEmptyValueUnchangedOverAnEmptyOne) {
    AdaptionHashStore sut;
    sut.addOrUpdateAdaptionIdIfNeeded(312, {});
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(312, {}));
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(312, {0, 0}));
    EXPECT_FALSE(sut.hasAdaptionIdWithSameHash(312, {1}));
}

TEST(AdaptionHashStore, UpdatesOnlyWhatItKnows) {
    AdaptionHashStore sut;
    sut.updateAdaptionId(149, {1});
    EXPECT_FALSE(sut.hasAdaptionId(149));
    sut.addAdaptionId(149, {1});
    sut.updateAdaptionId(149, {2});
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(149, {2}));
}

TEST(AdaptionHashStore, KeepsDoubleEntriesUntilTheyAreRemoved) {
    AdaptionHashStore sut;
    sut.addAdaptionId(149, {1});
    sut.addAdaptionId(255, {9});
    sut.addAdaptionId(149, {2});
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(149, {1})) << "the first entry counts";
    sut.addOrUpdateAdaptionIdIfNeeded(149, {3});
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(149, {3}));
    sut.updateAdaptionId(149, {4});
    sut.removeAdaptionId(149);
    EXPECT_FALSE(sut.hasAdaptionId(149)) << "both are gone";
    EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(255, {9}));
    sut.removeAdaptionId(149);
}

TEST(AdaptionHashStore, IsUsedByScansSideBySide) {
    AdaptionHashStore sut;
    auto const scan = [&sut](unsigned char value) {
        for (int round = 0; round < 2000; ++round) {
            for (unsigned const id : {149U, 255U, 312U, 316U}) {
                sut.hasAdaptionIdWithSameHash(id, {value});
                sut.addOrUpdateAdaptionIdIfNeeded(id, {value});
            }
        }
    };
    std::thread other(scan, static_cast<unsigned char>(1));
    scan(2);
    other.join();
    for (unsigned const id : {149U, 255U, 312U, 316U}) {
        EXPECT_TRUE(sut.hasAdaptionIdWithSameHash(id, {1}) || sut.hasAdaptionIdWithSameHash(id, {2}));
        sut.removeAdaptionId(id);
        EXPECT_FALSE(sut.hasAdaptionId(id));
    }
}

}  // namespace
