#include "client/SetResponse.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {
namespace {

using testing::ElementsAre;
using Bytes = std::vector<unsigned char>;

class SetResponseTest : public testing::Test {
protected:
    SetResponseTest() {
        std::memset(&record, 0xEE, sizeof record);
        sut.emplace(record, 0x01020304);
    }

    /// Takes up `count` bytes, a multiple of 6 with items without value.
    void fill(unsigned count) {
        for (unsigned used = 0; used < count; used += 6) {
            ASSERT_TRUE(sut->hasRoom());
            sut->putId(tDiagMgrAdaptationID{149});
            sut->putNoValue();
        }
    }

    Bytes data() {
        sut->finish();
        return {record.data, record.data + record.length};
    }

    tDiagmgrGetAdaptationsetRespds record;
    std::optional<SetResponse> sut;
};

TEST_F(SetResponseTest, StartsEmptyAndClearsTheRecord) {
    EXPECT_THAT(data(), ElementsAre());
    EXPECT_EQ(record.transactionId, 0x01020304U);
    EXPECT_THAT(record.data, testing::Each(0));
}

TEST_F(SetResponseTest, PutsIdLengthAndValueWithoutGaps) {
    sut->putId(tDiagMgrAdaptationID{149});
    EXPECT_TRUE(sut->putValue({0xAA, 0xBB, 0xCC}));
    sut->putId(tDiagMgrAdaptationID{255});
    sut->putNoValue();
    sut->putId(tDiagMgrAdaptationID{0x01020304});
    EXPECT_TRUE(sut->putValue({}));
    EXPECT_THAT(data(), ElementsAre(149, 0, 0, 0, 3, 0, 0xAA, 0xBB, 0xCC,  //
                                    255, 0, 0, 0, 0, 0,                    //
                                    4, 3, 2, 1, 0, 0));
}

TEST_F(SetResponseTest, LeavesAnIdBareIfNothingFollows) {
    sut->putId(tDiagMgrAdaptationID{149});
    sut->putId(tDiagMgrAdaptationID{312});
    sut->putNoValue();
    EXPECT_THAT(data(), ElementsAre(149, 0, 0, 0, 0x38, 1, 0, 0, 0, 0));
}

TEST_F(SetResponseTest, BeginsAnItemOnlyWhileSixBytesAreFree) {
    fill(4026);
    EXPECT_TRUE(sut->hasRoom());
    fill(6);
    EXPECT_FALSE(sut->hasRoom());
    EXPECT_EQ(data().size(), 4032U);
}

TEST_F(SetResponseTest, BareIdsCountForTheRoomToo) {
    fill(4020);
    sut->putId(tDiagMgrAdaptationID{149});
    EXPECT_TRUE(sut->hasRoom());
    sut->putId(tDiagMgrAdaptationID{149});
    EXPECT_FALSE(sut->hasRoom());
    EXPECT_EQ(data().size(), 4028U);
}

TEST_F(SetResponseTest, HasRoomForAnotherItemUpToTheSixthByteFromTheEnd) {
    for (std::size_t used = 4020; used <= 4032; ++used) {
        SCOPED_TRACE(used);
        sut.emplace(record, 1);
        sut->putId(tDiagMgrAdaptationID{149});
        EXPECT_TRUE(sut->putValue(Bytes(used - 6, 0x77)));
        EXPECT_EQ(sut->hasRoom(), used <= 4026);
    }
}

TEST_F(SetResponseTest, TakesAValueThatFillsTheBufferToTheLastByte) {
    sut->putId(tDiagMgrAdaptationID{149});
    EXPECT_TRUE(sut->putValue(Bytes(4026, 0x77)));
    EXPECT_FALSE(sut->hasRoom());
    EXPECT_EQ(data().size(), 4032U);
    EXPECT_EQ(record.data[4031], 0x77);
}

TEST_F(SetResponseTest, PutsLengthZeroForAValueThatDoesNotFit) {
    for (std::size_t const size : {4027U, 4032U, 4033U, 65526U, 65534U, 65535U, 65536U + 4027U}) {
        SCOPED_TRACE(size);
        sut.emplace(record, 1);
        sut->putId(tDiagMgrAdaptationID{149});
        EXPECT_FALSE(sut->putValue(Bytes(size, 0x77)));
        EXPECT_THAT(data(), ElementsAre(149, 0, 0, 0, 0, 0));
    }
}

TEST_F(SetResponseTest, CutsTheByteCountToSixteenBits) {
    for (std::size_t const size : {65536U, 131072U}) {
        sut.emplace(record, 1);
        sut->putId(tDiagMgrAdaptationID{149});
        EXPECT_TRUE(sut->putValue(Bytes(size, 0x77)));
        EXPECT_THAT(data(), ElementsAre(149, 0, 0, 0, 0, 0));
    }
    sut.emplace(record, 1);
    sut->putId(tDiagMgrAdaptationID{149});
    EXPECT_TRUE(sut->putValue(Bytes(65537, 0x77)));
    EXPECT_THAT(data(), ElementsAre(149, 0, 0, 0, 1, 0, 0x77));
}

TEST_F(SetResponseTest, JudgesAValueByTheRoomThatIsLeft) {
    fill(3996);
    sut->putId(tDiagMgrAdaptationID{149});  // 4000 used, and 2 for the length: 30 are left
    EXPECT_FALSE(sut->putValue(Bytes(31, 0x77)));
    sut->putId(tDiagMgrAdaptationID{149});  // 4002 + 4 used, and 2 for the length: 24 are left
    EXPECT_TRUE(sut->putValue(Bytes(24, 0x77)));
    EXPECT_EQ(data().size(), 4032U);
}

}  // namespace
}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
