#include "platform/com/someip/Frame.h"

#include <gtest/gtest.h>

#include <array>

namespace eb::com::runtime::someip {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Found = Frame_reader::Found;

constexpr std::size_t MAXIMUM = 64;
Header const HEADER{0xB047, 0x0002, 0x0101, 0x0001, 1, 2, 0x00, 0x00};
Bytes const PAYLOAD = {0xDE, 0xAD};
Bytes const WIRE = {0xB0, 0x47, 0x00, 0x02, 0x00, 0x00, 0x00, 0x0A, 0x01,
                    0x01, 0x00, 0x01, 0x01, 0x02, 0x00, 0x00, 0xDE, 0xAD};

Bytes lengthOf(std::uint32_t length) {
    Bytes bytes = WIRE;
    for (std::size_t index = 0; index < 4; ++index)
        bytes[4 + index] = static_cast<std::uint8_t>(length >> (24 - 8 * index));
    return bytes;
}

TEST(Frame_test, HeaderGoesOutInNetworkByteOrder) {
    EXPECT_EQ(encode(HEADER, PAYLOAD), WIRE);
}

TEST(Frame_test, WhatWasEncodedIsReadBack) {
    Frame_reader sut(MAXIMUM);
    sut.feed(WIRE.data(), WIRE.size());

    Frame frame;
    ASSERT_EQ(sut.next(frame), Found::frame);

    EXPECT_EQ(frame.header, HEADER);
    EXPECT_EQ(frame.payload.bytes(), PAYLOAD);
    EXPECT_EQ(sut.next(frame), Found::nothing);
}

TEST(Frame_test, AnswerKeepsTheRequestsIds) {
    for (int code = 0; code <= 0xFF; ++code) {
        Header const answer = answerTo(HEADER, static_cast<std::uint8_t>(code));
        EXPECT_EQ(answer.service, HEADER.service);
        EXPECT_EQ(answer.method, HEADER.method);
        EXPECT_EQ(answer.client, HEADER.client);
        EXPECT_EQ(answer.session, HEADER.session);
        EXPECT_EQ(answer.interfaceVersion, HEADER.interfaceVersion);
        EXPECT_EQ(answer.code, code);
        EXPECT_EQ(answer.type, code == 0 ? 0x80 : 0x81);
    }
}

TEST(Frame_test, AnswerToAForeignProtocolVersionHasOurs) {
    Header request = HEADER;
    request.protocolVersion = 9;
    EXPECT_EQ(answerTo(request, E_WRONG_PROTOCOL_VERSION).protocolVersion, 1);
}

class Frame_split_test : public ::testing::TestWithParam<std::size_t> {};

TEST_P(Frame_split_test, PiecesOfAMessageMakeItWhole) {
    Frame_reader sut(MAXIMUM);
    Frame frame;

    sut.feed(WIRE.data(), GetParam());
    ASSERT_EQ(sut.next(frame), GetParam() < WIRE.size() ? Found::nothing : Found::frame);
    sut.feed(WIRE.data() + GetParam(), WIRE.size() - GetParam());

    ASSERT_EQ(sut.next(frame), GetParam() < WIRE.size() ? Found::frame : Found::nothing);
    EXPECT_EQ(frame.payload.bytes(), PAYLOAD);
    EXPECT_EQ(sut.pending(), 0U);
}

INSTANTIATE_TEST_SUITE_P(EveryByte, Frame_split_test, ::testing::Range(std::size_t{0}, WIRE.size() + 1));

TEST(Frame_test, SingleBytesMakeMessages) {
    Frame_reader sut(MAXIMUM);
    Frame frame;
    int found = 0;
    for (int round = 0; round < 3; ++round)
        for (std::uint8_t const byte : WIRE) {
            sut.feed(&byte, 1);
            found += sut.next(frame) == Found::frame ? 1 : 0;
        }
    EXPECT_EQ(found, 3);
}

TEST(Frame_test, MergedMessagesComeOutOneByOne) {
    Bytes merged;
    for (int count = 0; count < 5; ++count) merged.insert(merged.end(), WIRE.begin(), WIRE.end());
    merged.pop_back();
    Frame_reader sut(MAXIMUM);
    sut.feed(merged.data(), merged.size());

    Frame frame;
    for (int count = 0; count < 4; ++count) EXPECT_EQ(sut.next(frame), Found::frame);

    EXPECT_EQ(sut.next(frame), Found::nothing);
    EXPECT_EQ(sut.pending(), WIRE.size() - 1);
}

TEST(Frame_test, LengthBelowTheHeadersOwnBreaksTheStream) {
    for (std::uint32_t length = 0; length < 8; ++length) {
        Frame_reader sut(MAXIMUM);
        Bytes const bytes = lengthOf(length);
        sut.feed(bytes.data(), bytes.size());
        Frame frame;
        EXPECT_EQ(sut.next(frame), Found::tooShort) << length;
        sut.feed(WIRE.data(), WIRE.size());
        EXPECT_EQ(sut.next(frame), Found::tooShort) << "a broken stream stays broken";
        EXPECT_EQ(sut.pending(), 0U);
    }
}

TEST(Frame_test, LengthUpToTheBoundIsWaitedFor) {
    Frame_reader sut(MAXIMUM);
    Bytes const bytes = lengthOf(8 + MAXIMUM);
    sut.feed(bytes.data(), bytes.size());
    Frame frame;
    EXPECT_EQ(sut.next(frame), Found::nothing);
}

TEST(Frame_test, LengthAboveTheBoundBreaksTheStreamAndGivesTheHeader) {
    for (std::uint32_t const length :
         {std::uint32_t{8 + MAXIMUM + 1}, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        Frame_reader sut(MAXIMUM);
        Bytes const bytes = lengthOf(length);
        sut.feed(bytes.data(), HEADER_BYTES);
        Frame frame;
        EXPECT_EQ(sut.next(frame), Found::tooLong) << length;
        EXPECT_EQ(frame.header, HEADER);
        EXPECT_TRUE(frame.payload.bytes().empty());
        EXPECT_EQ(sut.pending(), 0U);
    }
}

TEST(Frame_test, MagicCookiesOfBothSidesAreKnown) {
    EXPECT_TRUE((Header{0xFFFF, 0x0000, 0xDEAD, 0xBEEF, 1, 1, 1, 0}).isMagicCookie());
    EXPECT_TRUE((Header{0xFFFF, 0x8000, 0xDEAD, 0xBEEF, 1, 1, 2, 0}).isMagicCookie());
    EXPECT_FALSE((Header{0xFFFF, 0x8100, 0xDEAD, 0xBEEF, 1, 1, 2, 0}).isMagicCookie());
    EXPECT_FALSE((Header{0xB047, 0x0000, 0xDEAD, 0xBEEF, 1, 1, 1, 0}).isMagicCookie());
    EXPECT_FALSE(HEADER.isMagicCookie());
}

}  // namespace
}  // namespace eb::com::runtime::someip
