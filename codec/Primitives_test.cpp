#include "codec/Primitives.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <numeric>
#include <vector>

namespace {

constexpr unsigned char UNTOUCHED = 0xA5;

struct PrimitiveTest : testing::Test {
    PrimitiveTest() { buffer.fill(UNTOUCHED); }

    std::array<unsigned char, 32> buffer{};
    unsigned cursor = 0;

    std::vector<unsigned> written() const { return {buffer.begin(), buffer.begin() + cursor}; }
    bool untouchedFrom(std::size_t first) const {
        return std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(first), buffer.end(),
                           [](unsigned char each) { return each == UNTOUCHED; });
    }
};

/** One scalar type's pair of functions. */
template <class Integer, auto PACK, auto UNPACK>
struct Scalar {
    using Value = Integer;
    static constexpr auto pack = PACK;
    static constexpr auto unpack = UNPACK;
};

template <class Traits>
struct ScalarTest : PrimitiveTest {
    using Value = typename Traits::Value;
    static constexpr unsigned WIDTH = sizeof(Value);
};

using Scalars = testing::Types<
    Scalar<std::uint8_t, PackUint8, UnpackUint8>, Scalar<std::uint16_t, PackUint16, UnpackUint16>,
    Scalar<std::uint32_t, PackUint32, UnpackUint32>, Scalar<std::uint64_t, PackUint64, UnpackUint64>,
    Scalar<unsigned char, PackBool, UnpackBool>>;
TYPED_TEST_SUITE(ScalarTest, Scalars);

TYPED_TEST(ScalarTest, GoesLowByteFirstAndComesBack) {
    const auto value = static_cast<typename TestFixture::Value>(0x8877665544332201u);
    ASSERT_EQ(TypeParam::pack(32, this->buffer.data(), &this->cursor, value), ePackOk);
    ASSERT_EQ(this->cursor, this->WIDTH);
    const std::vector<unsigned> all = {0x01, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    EXPECT_EQ(this->written(), std::vector<unsigned>(all.begin(), all.begin() + this->WIDTH));
    EXPECT_TRUE(this->untouchedFrom(this->WIDTH));

    this->cursor = 0;
    typename TestFixture::Value back = 0;
    ASSERT_EQ(TypeParam::unpack(32, this->buffer.data(), &this->cursor, &back), eUnpackOk);
    EXPECT_EQ(this->cursor, this->WIDTH);
    EXPECT_EQ(back, value);
}

TYPED_TEST(ScalarTest, MayEndExactlyAtTheBoundAndNoByteLater) {
    this->cursor = 7;
    typename TestFixture::Value value = 1;
    EXPECT_EQ(TypeParam::pack(7 + this->WIDTH - 1, this->buffer.data(), &this->cursor, value),
              ePackBufferTooSmall);
    EXPECT_EQ(TypeParam::unpack(7 + this->WIDTH - 1, this->buffer.data(), &this->cursor, &value),
              eUnpackTruncated);
    EXPECT_EQ(this->cursor, 7u);
    EXPECT_TRUE(this->untouchedFrom(0));
    EXPECT_EQ(TypeParam::pack(7 + this->WIDTH, this->buffer.data(), &this->cursor, value), ePackOk);
    this->cursor = 7;
    EXPECT_EQ(TypeParam::unpack(7 + this->WIDTH, this->buffer.data(), &this->cursor, &value), eUnpackOk);
}

TYPED_TEST(ScalarTest, NamesCursorThenBoundThenBufferThenDestination) {
    typename TestFixture::Value value = 0;
    EXPECT_EQ(TypeParam::pack(0, nullptr, nullptr, value), ePackNoCursor);
    EXPECT_EQ(TypeParam::pack(0, nullptr, &this->cursor, value), ePackBufferTooSmall);
    EXPECT_EQ(TypeParam::pack(8, nullptr, &this->cursor, value), ePackNoBuffer);
    EXPECT_EQ(TypeParam::unpack(0, nullptr, nullptr, nullptr), eUnpackNoCursor);
    EXPECT_EQ(TypeParam::unpack(0, nullptr, &this->cursor, nullptr), eUnpackTruncated);
    EXPECT_EQ(TypeParam::unpack(8, nullptr, &this->cursor, nullptr), eUnpackNoBuffer);
    EXPECT_EQ(TypeParam::unpack(8, this->buffer.data(), &this->cursor, nullptr), eUnpackNoRecord);
    EXPECT_EQ(this->cursor, 0u);
}

TEST_F(PrimitiveTest, ABoolOf2GoesOutAs2AndComesBackAs1) {
    ASSERT_EQ(PackBool(1, buffer.data(), &cursor, 2), ePackOk);
    EXPECT_EQ(buffer[0], 2);
    cursor = 0;
    unsigned char value = 0;
    ASSERT_EQ(UnpackBool(1, buffer.data(), &cursor, &value), eUnpackOk);
    EXPECT_EQ(value, 1);
}

TEST_F(PrimitiveTest, ABlockIsMovedWholeOrNotAtAll) {
    const std::array<std::uint8_t, 4> source = {1, 2, 3, 4};
    EXPECT_EQ(PackUint8Array(3, buffer.data(), &cursor, source.data(), 4), ePackBufferTooSmall);
    EXPECT_TRUE(untouchedFrom(0));
    ASSERT_EQ(PackUint8Array(4, buffer.data(), &cursor, source.data(), 4), ePackOk);
    EXPECT_EQ(written(), (std::vector<unsigned>{1, 2, 3, 4}));

    std::array<std::uint8_t, 4> destination{};
    cursor = 0;
    EXPECT_EQ(UnpackUint8Array(3, buffer.data(), &cursor, destination.data(), 4), eUnpackTruncated);
    EXPECT_EQ(destination, (std::array<std::uint8_t, 4>{}));
    ASSERT_EQ(UnpackUint8Array(4, buffer.data(), &cursor, destination.data(), 4), eUnpackOk);
    EXPECT_EQ(destination, source);
    EXPECT_EQ(cursor, 4u);
}

TEST_F(PrimitiveTest, PackingNothingFromNullIsRefusedAndUnpackingNothingToNullIsNot) {
    EXPECT_EQ(PackUint8Array(4, buffer.data(), &cursor, nullptr, 0), ePackNoBuffer);
    const std::uint8_t source = 0;
    EXPECT_EQ(PackUint8Array(4, nullptr, &cursor, &source, 0), ePackNoBuffer);
    EXPECT_EQ(UnpackUint8Array(4, buffer.data(), &cursor, nullptr, 0), eUnpackOk);
    EXPECT_EQ(UnpackUint8Array(4, nullptr, &cursor, nullptr, 0), eUnpackOk);
}

TEST_F(PrimitiveTest, ABlockNamesCursorThenBoundThenPointers) {
    std::uint8_t byte = 0;
    EXPECT_EQ(PackUint8Array(0, nullptr, nullptr, nullptr, 1), ePackNoCursor);
    EXPECT_EQ(PackUint8Array(0, nullptr, &cursor, nullptr, 1), ePackBufferTooSmall);
    EXPECT_EQ(PackUint8Array(1, nullptr, &cursor, &byte, 1), ePackNoBuffer);
    EXPECT_EQ(PackUint8Array(1, buffer.data(), &cursor, nullptr, 1), ePackNoBuffer);
    EXPECT_EQ(UnpackUint8Array(0, nullptr, nullptr, nullptr, 1), eUnpackNoCursor);
    EXPECT_EQ(UnpackUint8Array(0, nullptr, &cursor, nullptr, 1), eUnpackTruncated);
    EXPECT_EQ(UnpackUint8Array(1, nullptr, &cursor, &byte, 1), eUnpackNoBuffer);
    EXPECT_EQ(UnpackUint8Array(1, buffer.data(), &cursor, nullptr, 1), eUnpackNoRecord);
}

TEST_F(PrimitiveTest, ABlockWhoseEndWrapsAroundIsRefused) {
    std::uint8_t byte = 0;
    cursor = 16;
    EXPECT_EQ(PackUint8Array(32, buffer.data(), &cursor, &byte, 0xFFFFFFF8u), ePackBufferTooSmall);
    EXPECT_EQ(UnpackUint8Array(32, buffer.data(), &cursor, &byte, 0xFFFFFFF8u), eUnpackTruncated);
    EXPECT_EQ(cursor, 16u);
}

TEST_F(PrimitiveTest, IntegerArraysTakeTheirWidthTimesTheCount) {
    const std::array<std::uint16_t, 2> words = {0x0201, 0x0403};
    ASSERT_EQ(PackUint16Array(4, buffer.data(), &cursor, words.data(), 2), ePackOk);
    EXPECT_EQ(written(), (std::vector<unsigned>{1, 2, 3, 4}));
    const std::array<std::uint32_t, 1> longs = {0x08070605};
    ASSERT_EQ(PackUint32Array(8, buffer.data(), &cursor, longs.data(), 1), ePackOk);
    EXPECT_EQ(written(), (std::vector<unsigned>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(PackUint16Array(9, buffer.data(), &cursor, words.data(), 1), ePackBufferTooSmall);

    cursor = 0;
    std::array<std::uint16_t, 2> wordsBack{};
    std::array<std::uint32_t, 1> longsBack{};
    ASSERT_EQ(UnpackUint16Array(8, buffer.data(), &cursor, wordsBack.data(), 2), eUnpackOk);
    ASSERT_EQ(UnpackUint32Array(8, buffer.data(), &cursor, longsBack.data(), 1), eUnpackOk);
    EXPECT_EQ(wordsBack, words);
    EXPECT_EQ(longsBack, longs);
    EXPECT_EQ(cursor, 8u);
}

TEST_F(PrimitiveTest, BitsFillBytesFromTheTopAndRestIsZero) {
    const std::array<unsigned char, 10> source = {1, 0, 1, 0, 0, 0, 0, 1, 0, 1};
    ASSERT_EQ(PackBoolArray(2, buffer.data(), &cursor, source.data(), 10), ePackOk);
    EXPECT_EQ(written(), (std::vector<unsigned>{0xA1, 0x40}));

    cursor = 0;
    std::array<unsigned char, 10> back{};
    back.fill(9);
    ASSERT_EQ(UnpackBoolArray(2, buffer.data(), &cursor, back.data(), 10), eUnpackOk);
    EXPECT_EQ(back, source);
    EXPECT_EQ(cursor, 2u);
}

TEST_F(PrimitiveTest, TheFirstOfEightBitsIsTheLowBitOfItsByte) {
    std::array<unsigned char, 9> source{};
    source.fill(2);
    ASSERT_EQ(PackBoolArray(2, buffer.data(), &cursor, source.data(), 9), ePackOk);
    EXPECT_EQ(written(), (std::vector<unsigned>{0x7F, 0x00}));
}

TEST_F(PrimitiveTest, BitArraysNameCursorThenBoundThenBuffer) {
    unsigned char bit = 1;
    EXPECT_EQ(PackBoolArray(0, nullptr, nullptr, &bit, 1), ePackNoCursor);
    EXPECT_EQ(PackBoolArray(0, nullptr, &cursor, &bit, 1), ePackBufferTooSmall);
    EXPECT_EQ(PackBoolArray(1, nullptr, &cursor, &bit, 1), ePackNoBuffer);
    EXPECT_EQ(UnpackBoolArray(0, nullptr, nullptr, &bit, 1), eUnpackNoCursor);
    EXPECT_EQ(UnpackBoolArray(0, nullptr, &cursor, &bit, 1), eUnpackTruncated);
    EXPECT_EQ(UnpackBoolArray(0, nullptr, &cursor, nullptr, 0), eUnpackOk);
    EXPECT_EQ(UnpackBoolArray(1, nullptr, &cursor, &bit, 1), eUnpackNoBuffer);
    EXPECT_EQ(UnpackBoolArray(1, buffer.data(), &cursor, nullptr, 1), eUnpackNoRecord);
}

TEST_F(PrimitiveTest, NineBitsTakeTwoBytes) {
    std::array<unsigned char, 9> bits{};
    EXPECT_EQ(PackBoolArray(1, buffer.data(), &cursor, bits.data(), 9), ePackBufferTooSmall);
    EXPECT_EQ(PackBoolArray(2, buffer.data(), &cursor, bits.data(), 9), ePackOk);
    EXPECT_EQ(cursor, 2u);
}

TEST(ResultCodes, HaveTheNumbersThatHandlersLog) {
    EXPECT_EQ((std::vector<int>{ePackOk, ePackNoHeader, ePackNoBuffer, ePackBufferTooSmall, ePackNoRecord,
                                ePackArrayTooLong, ePackNoCursor, ePackBadEnum}),
              (std::vector<int>{0, 1, 2, 3, 4, 6, 7, 9}));
    EXPECT_EQ((std::vector<int>{eUnpackOk, eUnpackNoHeader, eUnpackWrongMessageId, eUnpackNoBuffer,
                                eUnpackTruncated, eUnpackTrailingBytes, eUnpackNoRecord, eUnpackArrayTooLong,
                                eUnpackNoCursor, eUnpackBadEnum}),
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 8, 9, 11}));
}

}  // namespace
