#include "binding/payload/Length_field.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <tuple>

#include "binding/testing/Payload_checks.h"

namespace ac::com::someip::serialization {
namespace {

using binding_testing::bytesOf;
using binding_testing::expectThrow;
using binding_testing::INVALID_SIZE;
using binding_testing::READ_BEYOND;
using binding_testing::TOO_LONG;

Serialization_properties ordered(std::uint32_t byteOrder) {
    Serialization_properties properties;
    properties.byte_order = byteOrder;
    return properties;
}

struct Length_case {
    std::uint64_t size;
    std::uint32_t byteOrder;
    std::uint64_t length;
    std::vector<unsigned char> bytes;
};

class Length_field_of : public testing::TestWithParam<Length_case> {};

TEST_P(Length_field_of, IsWrittenInOrder) {
    auto const& [size, byteOrder, length, bytes] = GetParam();
    std::vector<unsigned char> sut;
    serialize_length_field_dispatch(size, length, sut, ordered(byteOrder));
    EXPECT_EQ(sut, bytes);
}

TEST_P(Length_field_of, IsReadInOrder) {
    auto const& [size, byteOrder, length, bytes] = GetParam();
    Read_buffer buffer(bytes);
    EXPECT_EQ(deserialize_length_field_dispatch(size, buffer, ordered(byteOrder)), length);
    EXPECT_EQ(buffer.position(), size);
}

TEST_P(Length_field_of, IsNotReadFromTooFewBytes) {
    Length_case given = GetParam();
    given.bytes.pop_back();
    Read_buffer buffer(given.bytes);
    expectThrow<std::out_of_range>(
        [&] { deserialize_length_field_dispatch(given.size, buffer, ordered(given.byteOrder)); },
        READ_BEYOND);
}

INSTANTIATE_TEST_SUITE_P(
    SizesAndOrders, Length_field_of,
    testing::Values(Length_case{1, 1234, 0, {0}}, Length_case{1, 4321, 255, {0xFF}},
                    Length_case{1, 1234, 255, {0xFF}}, Length_case{2, 1234, 1, {1, 0}},
                    Length_case{2, 4321, 256, {1, 0}}, Length_case{2, 0, 256, {1, 0}},
                    Length_case{2, 1235, 256, {1, 0}}, Length_case{2, 0xFFFFFFFF, 256, {1, 0}},
                    Length_case{2, 4321, 65535, {0xFF, 0xFF}}, Length_case{2, 1234, 65535, {0xFF, 0xFF}},
                    Length_case{4, 4321, 20, {0, 0, 0, 20}}, Length_case{4, 1234, 20, {20, 0, 0, 0}},
                    Length_case{4, 4321, 0x01020304, {1, 2, 3, 4}},
                    Length_case{4, 1234, 0x01020304, {4, 3, 2, 1}},
                    Length_case{4, 4321, 0x80000000, {0x80, 0, 0, 0}},
                    Length_case{4, 4321, 0xFFFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF}},
                    Length_case{4, 1234, 0xFFFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF}}));

class Length_field_size : public testing::TestWithParam<std::uint64_t> {};

TEST_P(Length_field_size, ThatDoesNotExistIsRefusedOnReading) {
    std::vector<unsigned char> const bytes(16);
    Read_buffer buffer(bytes);
    expectThrow<std::invalid_argument>([&] { deserialize_length_field_dispatch(GetParam(), buffer, {}); },
                                       INVALID_SIZE);
    EXPECT_EQ(buffer.position(), 0U);
}

TEST_P(Length_field_size, ThatDoesNotExistIsRefusedOnWriting) {
    if (GetParam() == 0) {
        return;  // nothing to write, below
    }
    std::vector<unsigned char> bytes;
    expectThrow<std::invalid_argument>([&] { serialize_length_field_dispatch(GetParam(), 0, bytes, {}); },
                                       INVALID_SIZE);
    EXPECT_TRUE(bytes.empty());
}

INSTANTIATE_TEST_SUITE_P(Sizes, Length_field_size, testing::Values(0, 3, 5, 6, 7, 8, 16, ~std::uint64_t{0}));

TEST(Length_field, OfSize0WritesNothing) {
    std::vector<unsigned char> bytes;
    serialize_length_field_dispatch(0, ~std::uint64_t{0}, bytes, {});
    EXPECT_TRUE(bytes.empty());
}

class Length_that_does_not_fit
    : public testing::TestWithParam<std::tuple<std::tuple<std::uint64_t, std::uint64_t>, std::uint32_t>> {};

TEST_P(Length_that_does_not_fit, Overflows) {
    auto const [field, byteOrder] = GetParam();
    auto const [size, length] = field;
    std::vector<unsigned char> bytes;
    expectThrow<std::overflow_error>(
        [&, size = size, length = length, order = byteOrder] {
            serialize_length_field_dispatch(size, length, bytes, ordered(order));
        },
        TOO_LONG);
    EXPECT_TRUE(bytes.empty());
}

using Field = std::tuple<std::uint64_t, std::uint64_t>;
INSTANTIATE_TEST_SUITE_P(Boundaries, Length_that_does_not_fit,
                         testing::Combine(testing::Values(Field{1, 256}, Field{1, 65536}, Field{2, 65536},
                                                          Field{2, 0x80000000}, Field{4, 0x100000000},
                                                          Field{4, ~std::uint64_t{0}}),
                                          testing::Values(1234U, 4321U)));

TEST(Wire_type, WithoutALengthFieldHasSize0) {
    for (unsigned type = 0; type < 4; ++type) {
        EXPECT_EQ(get_length_field_size_for_wire_type(Wire_type(type), {}), 0U) << type;
    }
    EXPECT_EQ(get_length_field_size_for_wire_type(Wire_type(8), {}), 0U);
}

TEST(Wire_type, FiveToSevenNameTheirSize) {
    EXPECT_EQ(get_length_field_size_for_wire_type(Wire_type(5), {}), 1U);
    EXPECT_EQ(get_length_field_size_for_wire_type(Wire_type(6), {}), 2U);
    EXPECT_EQ(get_length_field_size_for_wire_type(Wire_type(7), {}), 4U);
}

TEST(Wire_type, FourTakesTheConfiguredSizeOnlyIfAllThreeAreEqualAndNot0) {
    for (std::uint64_t array : {0U, 1U, 2U, 4U}) {
        for (std::uint64_t string : {0U, 1U, 2U, 4U}) {
            for (std::uint64_t structure : {0U, 1U, 2U, 4U}) {
                Serialization_properties const properties{4321, array, string, structure};
                auto const size = [&] {
                    return get_length_field_size_for_wire_type(Wire_type(4), properties);
                };
                if (array != 0 && array == string && array == structure) {
                    EXPECT_EQ(size(), array);
                } else {
                    expectThrow<std::runtime_error>(size,
                                                    "Violation of COM.PRS_SOMEIP_00215: All length fields "
                                                    "must have same size and not be 0 "
                                                    "when wire type 4 is used (" +
                                                        std::to_string(array) + ", " +
                                                        std::to_string(string) + ", " +
                                                        std::to_string(structure) + ")");
                }
            }
        }
    }
}

TEST(Structure_tag, LiesInBits12To14) {
    EXPECT_EQ((Structure_tag{Wire_type(7), 0xABC}.to_wire()), 0x7ABC);
    EXPECT_EQ((Structure_tag{Wire_type(0), 1}.to_wire()), 0x0001);
    EXPECT_EQ(Structure_tag::from_wire(0x6102), (Structure_tag{Wire_type(6), 0x102}));
    EXPECT_EQ(Structure_tag::from_wire(0xF003), (Structure_tag{Wire_type(7), 3}))
        << "bit 15 is not looked at";
}

TEST(Tag_list, ContainsTheDataIdsOfItsTags) {
    static constexpr std::array<Structure_tag, 2> TAGS{{{Wire_type(2), 0}, {Wire_type(3), 4095}}};
    constexpr Tag_list SUT(TAGS);
    EXPECT_TRUE(SUT.contains(0));
    EXPECT_TRUE(SUT.contains(4095));
    EXPECT_FALSE(SUT.contains(1));
    EXPECT_FALSE(Tag_list(std::array<Structure_tag, 0>{}).contains(0));
}

TEST(Read_buffer, ThrowsForMoreThanIsLeft) {
    std::vector<unsigned char> const bytes{1, 2, 3};
    Read_buffer sut(bytes);
    EXPECT_EQ(sut.throw_if_out_of_range(3), 0U);
    sut.skip(2);
    EXPECT_EQ(sut.throw_if_out_of_range(1), 2U);
    EXPECT_EQ(sut.throw_if_out_of_range(0), 2U);
    for (std::size_t count : {std::size_t{2}, ~std::size_t{0}, ~std::size_t{0} - 1, ~std::size_t{0} - 2}) {
        expectThrow<std::out_of_range>([&] { sut.throw_if_out_of_range(count); }, READ_BEYOND);
    }
}

TEST(Read_buffer, RefusesANullDestination) {
    std::vector<unsigned char> const bytes{1};
    Read_buffer sut(bytes);
    expectThrow<std::invalid_argument>([&] { sut.read(nullptr); }, "destination cannot be NULL");
    EXPECT_EQ(sut.position(), 0U);
}

TEST(Read_buffer, DoesNotSkipPastTheEnd) {
    std::vector<unsigned char> const bytes{1, 2, 3};
    Read_buffer sut(bytes);
    sut.skip(3);
    EXPECT_EQ(sut.position(), 3U);
    for (std::size_t count : {std::size_t{1}, ~std::size_t{0}, ~std::size_t{0} - 2}) {
        expectThrow<std::out_of_range>([&] { sut.skip(count); }, "Seek beyond the end of the data buffer");
    }
}

TEST(Read_buffer, ReadsByteByByte) {
    Read_buffer sut(bytesOf({7, 8}));
    unsigned char byte = 0;
    sut.read(&byte);
    EXPECT_EQ(byte, 7);
    sut.read(&byte);
    EXPECT_EQ(byte, 8);
    expectThrow<std::out_of_range>([&] { sut.read(&byte); }, READ_BEYOND);
}

}  // namespace
}  // namespace ac::com::someip::serialization
