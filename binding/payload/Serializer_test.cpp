// Values to bytes and back, for every kind of type.
#include "binding/payload/Serializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "binding/payload/Deserializer.h"
#include "binding/testing/Payload_checks.h"

namespace ac::com::someip::serialization {
namespace {

using binding_testing::expectThrow;
using Payload = std::vector<unsigned char>;

enum class Colour : std::uint8_t { red = 3 };

struct Point {
    std::uint16_t x = 0;
    std::array<std::uint8_t, 2> y{};
    auto fields() { return std::tie(x, y); }
    auto fields() const { return std::tie(x, y); }
    bool operator==(Point const&) const = default;
};

Serialization_properties const LITTLE{1234, 4, 4, 0};
Serialization_properties const SHORT{4321, 1, 1, 0};
Serialization_properties const BARE{4321, 0, 0, 0};
Serialization_properties const FRAMED{4321, 2, 2, 2};

template <class T>
void expectBytes(T const& value, Payload const& bytes, Serialization_properties const& properties = {}) {
    EXPECT_EQ(to_bytes(value, properties), bytes);
    EXPECT_EQ(from_bytes<T>(bytes, properties), value);
}

TEST(Serializer, NumbersGoInTheConfiguredOrder) {
    expectBytes<std::uint8_t>(0x12, {0x12});
    expectBytes<std::uint16_t>(0x0405, {4, 5});
    expectBytes<std::uint32_t>(0x01020304, {1, 2, 3, 4});
    expectBytes<std::uint64_t>(0x0102030405060708, {1, 2, 3, 4, 5, 6, 7, 8});
    expectBytes<std::int16_t>(-2, {0xFF, 0xFE});
    expectBytes<bool>(true, {1});
    expectBytes(Colour::red, {3});
    expectBytes<std::uint16_t>(0x0405, {5, 4}, LITTLE);
    expectBytes<std::uint32_t>(0x01020304, {4, 3, 2, 1}, LITTLE);
}

TEST(Serializer, FixedArraysHaveALengthFieldOf4Bytes) {
    expectBytes(std::array<std::uint8_t, 1>{7}, {0, 0, 0, 1, 7});
    expectBytes(std::array<std::uint8_t, 4>{1, 2, 3, 4}, {0, 0, 0, 4, 1, 2, 3, 4});
    expectBytes(std::array<std::uint16_t, 2>{1, 2}, {0, 0, 0, 4, 0, 1, 0, 2});
    expectBytes(std::array<std::uint8_t, 2>{1, 2}, {2, 0, 0, 0, 1, 2}, LITTLE);
    expectBytes(std::array<std::uint8_t, 2>{1, 2}, {1, 2}, BARE);
}

TEST(Serializer, VectorsHaveALengthFieldThatCountsBytes) {
    expectBytes(std::vector<std::uint8_t>{}, {0, 0, 0, 0});
    expectBytes(std::vector<std::uint8_t>{9, 8}, {0, 0, 0, 2, 9, 8});
    expectBytes(std::vector<std::uint32_t>{0xA50}, {0, 0, 0, 4, 0, 0, 0x0A, 0x50});
    expectBytes(std::vector<std::uint16_t>{1}, {2, 0, 0, 0, 1, 0}, LITTLE);
    expectBytes(std::vector<Point>{{1, {2, 3}}}, {0, 0, 0, 8, 0, 1, 0, 0, 0, 2, 2, 3});
}

TEST(Serializer, StructuresFollowTheirFieldsAndMayBeFramed) {
    expectBytes(Point{1, {2, 3}}, {0, 1, 0, 0, 0, 2, 2, 3});
    expectBytes(Point{1, {2, 3}}, {0, 6, 0, 1, 0, 2, 2, 3}, FRAMED);
}

TEST(Serializer, StringsCarryMarkAndTerminator) {
    expectBytes(std::string("ab"), {0, 0, 0, 6, 0xEF, 0xBB, 0xBF, 'a', 'b', 0});
    expectBytes(std::string(), {0, 0, 0, 4, 0xEF, 0xBB, 0xBF, 0});
}

TEST(Serializer, LengthFieldOfSize1Holds255AndNoMore) {
    std::vector<std::uint8_t> value(255, 7);
    Payload const bytes = to_bytes(value, SHORT);
    EXPECT_EQ(bytes.size(), 256U);
    EXPECT_EQ(bytes[0], 255);
    EXPECT_EQ(from_bytes<std::vector<std::uint8_t>>(bytes, SHORT), value);
    value.push_back(7);
    expectThrow<std::overflow_error>([&] { to_bytes(value, SHORT); }, binding_testing::TOO_LONG);
}

TEST(Serializer, VectorWithoutALengthFieldIsRefused) {
    expectThrow<std::invalid_argument>(
        [] { to_bytes(std::vector<std::uint8_t>{1}, BARE); },
        "Vectors must have a length field that deserializer can also deserialize it. Violation of "
        "PRS_SOMEIP_00376 & PRS_SOMEIP_00107!");
}

TEST(Serializer, LengthFieldOfAnUnknownSizeIsRefusedBothWays) {
    Serialization_properties const three{4321, 3, 3, 0};
    expectThrow<std::invalid_argument>([&] { to_bytes(std::array<std::uint8_t, 1>{}, three); },
                                       binding_testing::INVALID_SIZE);
    expectThrow<std::invalid_argument>(
        [&] {
            from_bytes<std::vector<std::uint8_t>>({0, 0, 1, 1}, three);
        },
        binding_testing::INVALID_SIZE);
}

TEST(Serializer, AppendsToWhatIsThere) {
    Payload bytes{0xAA};
    Serializer sut(bytes);
    sut.serialize(std::array<std::uint8_t, 1>{1});
    sut.serialize(std::uint16_t{2});
    EXPECT_EQ(bytes, (Payload{0xAA, 0, 0, 0, 1, 1, 0, 2}));
}

TEST(Deserializer, VectorThatEndsWithTheBufferReadsWholeAndOneByteMoreIsRefused) {
    EXPECT_EQ(from_bytes<std::vector<std::uint8_t>>({0, 0, 0, 2, 1, 2}), (std::vector<std::uint8_t>{1, 2}));
    expectThrow<std::out_of_range>(
        [] {
            from_bytes<std::vector<std::uint8_t>>({0, 0, 0, 3, 1, 2});
        },
        binding_testing::INVALID_END);
}

TEST(Deserializer, VectorEndIsComputedWithoutOverflow) {
    Read_buffer buffer(binding_testing::bytesOf({1, 2, 3, 4}));
    buffer.skip(2);
    EXPECT_EQ(detail::vector_end(buffer, 0), 2U);
    EXPECT_EQ(detail::vector_end(buffer, 2), 4U);
    for (std::uint64_t length : {std::uint64_t{3}, std::uint64_t{0x7FFFFFFF}, std::uint64_t{0x80000000},
                                 std::uint64_t{0xFFFFFFFF}, ~std::uint64_t{0} - 2}) {
        expectThrow<std::out_of_range>([&] { detail::vector_end(buffer, length); },
                                       binding_testing::INVALID_END);
    }
    for (std::uint64_t length : {~std::uint64_t{0}, ~std::uint64_t{0} - 1}) {
        expectThrow<std::overflow_error>([&] { detail::vector_end(buffer, length); },
                                         "Deserialization detected std::size_t overflow.");
    }
}

TEST(Deserializer, HugeVectorLengthsAreRefusedBeforeAnythingGrows) {
    for (Payload const& length :
         {Payload{0x7F, 0xFF, 0xFF, 0xFF}, Payload{0x80, 0, 0, 0}, Payload{0xFF, 0xFF, 0xFF, 0xFF}}) {
        expectThrow<std::out_of_range>([&] { from_bytes<std::vector<std::uint8_t>>(length); },
                                       binding_testing::INVALID_END);
    }
}

TEST(Deserializer, VectorWithoutALengthFieldGoesToTheEnd) {
    EXPECT_EQ(from_bytes<std::vector<std::uint16_t>>({0, 1, 0, 2}, BARE), (std::vector<std::uint16_t>{1, 2}));
    expectThrow<std::out_of_range>(
        [] {
            from_bytes<std::vector<std::uint16_t>>({0, 1, 0}, BARE);
        },
        binding_testing::READ_BEYOND);
}

TEST(Deserializer, VectorReadAgainHoldsOnlyTheNewElements) {
    std::vector<std::uint8_t> value{1, 2, 3};
    Read_buffer buffer(binding_testing::bytesOf({0, 0, 0, 1, 9}));
    deserialize_dispatch(value, buffer, {});
    EXPECT_EQ(value, std::vector<std::uint8_t>{9});
}

TEST(Deserializer, ElementThatStraddlesTheAnnouncedEndIsRefused) {
    expectThrow<std::out_of_range>(
        [] {
            from_bytes<std::vector<std::uint16_t>>({0, 0, 0, 3, 0, 1, 0, 2});
        },
        binding_testing::TOO_SMALL);
}

TEST(Deserializer, ElementsOfNoSizeEndInsteadOfGoingOnForEver) {
    struct Nothing {
        auto fields() { return std::tie(); }
    };
    expectThrow<std::out_of_range>(
        [] {
            from_bytes<std::vector<Nothing>>({0, 0, 0, 1, 5});
        },
        binding_testing::READ_BEYOND);
}

TEST(Deserializer, FixedArrayTakesALongerRecordAndRefusesAShorterOne) {
    using Two = std::array<std::uint8_t, 2>;
    EXPECT_EQ(from_bytes<Two>({0, 0, 0, 3, 1, 2, 3}), (Two{1, 2}));
    expectThrow<std::out_of_range>([] { from_bytes<Two>({0, 0, 0, 1, 1, 2}); }, binding_testing::TOO_SMALL);
    expectThrow<std::out_of_range>([] { from_bytes<Two>({0, 0, 0, 2, 1}); }, binding_testing::READ_BEYOND);
    expectThrow<std::out_of_range>([] { from_bytes<Two>({0, 0, 0}); }, binding_testing::READ_BEYOND);
}

TEST(Deserializer, StringsAreAcceptedWithoutMarkOrTerminator) {
    auto const read = [](Payload text) {
        Payload bytes{0, 0, 0, static_cast<unsigned char>(text.size())};
        bytes.insert(bytes.end(), text.begin(), text.end());
        return from_bytes<std::string>(bytes);
    };
    EXPECT_EQ(read({'a'}), "a");
    EXPECT_EQ(read({'a', 0}), "a");
    EXPECT_EQ(read({0xEF, 0xBB, 0xBF, 'a'}), "a");
    EXPECT_EQ(read({0xEF, 0xBB, 0xBF, 'a', 0}), "a");
    EXPECT_EQ(read({}), "");
    EXPECT_EQ(read({0}), "");
    EXPECT_EQ(read({0xEF, 0xBB}), "\xEF\xBB");
}

TEST(Deserializer, BytesBehindAValueAreNotLookedAt) {
    EXPECT_EQ(from_bytes<std::uint8_t>({1, 2, 3}), 1);
}

TEST(Size_estimate, CountsFixedBytesAlone) {
    EXPECT_EQ(size_estimate<std::uint16_t>(), 2U);
    EXPECT_EQ((size_estimate<std::array<std::uint16_t, 3>>()), 6U);
    EXPECT_EQ(size_estimate<std::vector<std::uint8_t>>(), 0U);
    EXPECT_EQ(size_estimate<Point>(), 4U);
}

}  // namespace
}  // namespace ac::com::someip::serialization
