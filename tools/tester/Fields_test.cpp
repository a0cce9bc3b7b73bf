#include "tools/tester/Fields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tester/Payloads.h"

namespace tester {
namespace {

using testing::ElementsAre;

struct Output {
    std::array<std::uint8_t, 3> field1{};
    std::uint8_t field2 = 0;
    std::uint16_t field3 = 0;
    std::vector<std::uint8_t> field4;
    auto fields() { return std::tie(field1, field2, field3, field4); }
    auto fields() const { return std::tie(field1, field2, field3, field4); }
};

Decoded decode(Payload const& payload) {
    return decodeFields<Output>(payload);
}

Payload const GOOD = withLength(Payload{1, 2, 3}) + Payload{4} + Payload{5, 6} + withLength(Payload{7, 8});

TEST(Fields, WholePayloadGivesEveryField) {
    Decoded const decoded = decode(GOOD);
    EXPECT_EQ(decoded.problem, "");
    ASSERT_EQ(decoded.fields.size(), 4U);
    EXPECT_EQ(decoded.fields[0].type, "array<3>");
    EXPECT_THAT(decoded.fields[0].value, ElementsAre(1, 2, 3));
    EXPECT_EQ(decoded.fields[1].type, "uint8");
    EXPECT_EQ(decoded.fields[1].number(), 4U);
    EXPECT_EQ(decoded.fields[2].type, "uint16");
    EXPECT_EQ(decoded.fields[2].number(), 0x0506U);
    EXPECT_THAT(decoded.fields[2].value, ElementsAre(5, 6));
    EXPECT_EQ(decoded.fields[3].type, "bytes");
    EXPECT_THAT(decoded.fields[3].value, ElementsAre(7, 8));
}

TEST(Fields, EmptyByteVectorIsAField) {
    Decoded const decoded = decode(withLength(Payload{1, 2, 3}) + Payload{4, 5, 6} + withLength(Payload{}));
    EXPECT_EQ(decoded.problem, "");
    EXPECT_EQ(decoded.fields.size(), 4U);
}

struct Bad {
    char const* what;
    Payload payload;
    std::size_t fields;
    char const* problem;
};

class BadPayload : public testing::TestWithParam<Bad> {};

TEST_P(BadPayload, NamesFieldExpectedAndReceived) {
    Decoded const decoded = decode(GetParam().payload);
    EXPECT_EQ(decoded.problem, GetParam().problem);
    EXPECT_EQ(decoded.fields.size(), GetParam().fields);
}

Payload const HEAD = withLength(Payload{1, 2, 3}) + Payload{4};

INSTANTIATE_TEST_SUITE_P(
    Each, BadPayload,
    testing::Values(
        Bad{"Empty", {}, 0, "field 1 (array<3>) at byte 0: expected a length field of 4 bytes, received 0"},
        Bad{"HalfLength",
            {0, 0},
            0,
            "field 1 (array<3>) at byte 0: expected a length field of 4 bytes, received 2"},
        Bad{"ShortArray", withLength(Payload{1, 2}), 0,
            "field 1 (array<3>) at byte 0: expected length 3, received length 2"},
        Bad{"LongArray", withLength(Payload{1, 2, 3, 4}), 0,
            "field 1 (array<3>) at byte 0: expected length 3, received length 4"},
        Bad{"CutArray",
            {0, 0, 0, 3, 1},
            0,
            "field 1 (array<3>) at byte 0: expected 3 bytes behind the length field, received 1"},
        Bad{"NoNumber", withLength(Payload{1, 2, 3}), 1,
            "field 2 (uint8) at byte 7: expected 1 byte, received 0"},
        Bad{"HalfNumber", HEAD + Payload{5}, 2, "field 3 (uint16) at byte 8: expected 2 bytes, received 1"},
        Bad{"NoVector", HEAD + Payload{5, 6}, 3,
            "field 4 (bytes) at byte 10: expected a length field of 4 bytes, received 0"},
        Bad{"CutVector", HEAD + Payload{5, 6, 0, 0, 0, 2, 7}, 3,
            "field 4 (bytes) at byte 10: expected 2 bytes behind the length field, received 1"},
        Bad{"HugeVector", HEAD + Payload{5, 6, 0xFF, 0xFF, 0xFF, 0xFF}, 3,
            "field 4 (bytes) at byte 10: expected 4294967295 bytes behind the length field, received 0"},
        Bad{"Surplus", GOOD + Payload{9}, 4, "expected 16 bytes, received 17: bytes behind the last field"}),
    [](auto const& each) { return std::string(each.param.what); });

}  // namespace
}  // namespace tester
