// The map that every diagnostic request carries: a length field of 4 bytes, then pairs of strings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"
#include "binding/testing/Payload_checks.h"

namespace ac::com::someip::serialization {
namespace {

using binding_testing::expectThrow;
using Bytes = std::vector<unsigned char>;

String_map read(Bytes const& bytes) {
    return from_bytes<String_map>(bytes);
}

/// "a" -> "b", bare: 10 bytes.
Bytes const PAIR{0, 0, 0, 1, 'a', 0, 0, 0, 1, 'b'};

Bytes announced(std::uint32_t length, std::initializer_list<Bytes> parts) {
    Bytes bytes;
    serialize_length_field(bytes, length, {});
    for (Bytes const& part : parts) {
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    return bytes;
}

TEST(Request_map, EmptyMapIsFourZeros) {
    EXPECT_EQ(to_bytes(String_map{}), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(read({0, 0, 0, 0}), String_map{});
}

TEST(Request_map, PairsAreStringsWithMarkAndTerminator) {
    String_map const map{{"a", "b"}, {"c", ""}};
    Bytes const bytes{0,    0,    0,    35,  0,    0,    0,    5,   0xEF, 0xBB, 0xBF, 'a',  0,
                      0,    0,    0,    5,   0xEF, 0xBB, 0xBF, 'b', 0,    0,    0,    0,    5,
                      0xEF, 0xBB, 0xBF, 'c', 0,    0,    0,    0,   4,    0xEF, 0xBB, 0xBF, 0};
    EXPECT_EQ(to_bytes(map), bytes);
    EXPECT_EQ(read(bytes), map);
}

TEST(Request_map, BareStringsAreAccepted) {
    EXPECT_EQ(read(announced(10, {PAIR})), (String_map{{"a", "b"}}));
}

TEST(Request_map, FirstOfEqualKeysCounts) {
    EXPECT_EQ(read(announced(20, {PAIR, {0, 0, 0, 1, 'a', 0, 0, 0, 1, 'c'}})), (String_map{{"a", "b"}}));
}

TEST(Request_map, SurplusTooShortForAPairIsSkipped) {
    for (std::uint32_t surplus = 0; surplus < 8; ++surplus) {
        Bytes const rest(surplus, 0xFF);
        EXPECT_EQ(read(announced(10 + surplus, {PAIR, rest})), (String_map{{"a", "b"}})) << surplus;
        EXPECT_EQ(read(announced(surplus, {rest})), String_map{}) << surplus;
    }
}

TEST(Request_map, SurplusOfEightBytesIsAPair) {
    EXPECT_EQ(read(announced(8, {Bytes(8, 0)})), (String_map{{"", ""}}));
    EXPECT_THROW(read(announced(8, {Bytes(8, 0xFF)})), std::out_of_range);
}

TEST(Request_map, BytesBehindTheAnnouncedEndAreNotLookedAt) {
    EXPECT_EQ(read(announced(10, {PAIR, {0xFF, 0xFF, 0xFF}})), (String_map{{"a", "b"}}));
    EXPECT_EQ(read(announced(0, {PAIR})), String_map{});
}

TEST(Request_map, ContentPastTheAnnouncedEndIsRefused) {
    for (std::uint32_t length : {8U, 9U}) {
        expectThrow<std::out_of_range>([&] { read(announced(length, {PAIR})); }, binding_testing::TOO_SMALL);
    }
}

TEST(Request_map, LengthPastThePayloadIsRefused) {
    for (std::uint32_t length :
         {1U, 7U, 8U, 11U, 0x7FU, 0xFFU, 0xFFFFU, 0x10000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        Bytes const content = length < 10 ? Bytes{} : PAIR;
        expectThrow<std::out_of_range>([&] { read(announced(length, {content})); },
                                       binding_testing::READ_BEYOND);
    }
}

TEST(Request_map, StringPastThePayloadIsRefused) {
    for (std::uint32_t length : {3U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        Bytes const text = announced(length, {{'a', 'b'}});
        Bytes const empty{0, 0, 0, 0};
        expectThrow<std::out_of_range>(
            [&] {
                read(announced(10, {text, empty}));
            },
            binding_testing::READ_BEYOND);
        expectThrow<std::out_of_range>(
            [&] {
                read(announced(10, {empty, text}));
            },
            binding_testing::READ_BEYOND);
    }
}

TEST(Request_map, PayloadWithoutAWholeLengthFieldIsRefused) {
    for (std::size_t size = 0; size < 4; ++size) {
        expectThrow<std::out_of_range>([&] { read(Bytes(size, 0)); }, binding_testing::READ_BEYOND);
    }
}

TEST(Request_map, EveryTruncationOfAGoodMapIsRefused) {
    Bytes const whole = to_bytes(String_map{{"client", "tester"}, {"reason", ""}});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_THROW(read(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))),
                     std::out_of_range)
            << size;
    }
    EXPECT_EQ(read(whole).size(), 2U);
}

TEST(Request_map, RandomBytesGiveAMapOrOneOfTheKnownTexts) {
    // Seeded: the same payloads in every run.
    std::minstd_rand random(2350);
    using testing::AnyOf;
    for (int round = 0; round < 20'000; ++round) {
        Bytes bytes(random() % 40);
        for (unsigned char& byte : bytes) {
            byte = random() % 3 == 0 ? static_cast<unsigned char>(random() % 256)
                                     : static_cast<unsigned char>(random() % 6);
        }
        for (std::size_t at = 0; at + 4 <= bytes.size(); at += 5) {
            bytes[at] = bytes[at + 1] = bytes[at + 2] = 0;  // lengths that have a chance
        }
        try {
            read(bytes);
        } catch (std::out_of_range const& failure) {
            EXPECT_THAT(failure.what(), AnyOf(testing::StrEq(binding_testing::READ_BEYOND),
                                              testing::StrEq(binding_testing::TOO_SMALL)));
        }
    }
}

}  // namespace
}  // namespace ac::com::someip::serialization
