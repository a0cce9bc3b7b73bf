// What becomes of segments, in and out of order, right and wrong.
#include "platform/com/someip/Tp_assembler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/com/testing/Segments.h"

namespace eb::com::runtime::someip {
namespace {

using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;
using testing::pattern;

constexpr std::size_t MOST = 4096;
Header const SENT{0xB047, 0x0002, 0x0101, 0x0001, 1, 2, 0x00, 0x00};
Address const PEER{0x0A000001, 1000};
Address const OTHER{0x0A000002, 1000};

class Tp_assembler_test : public ::testing::Test {
protected:
    ~Tp_assembler_test() override {
        m_sut.clear();
        EXPECT_EQ(counters().reassemblies, 0);
    }
    /// Takes a piece of `m_payload`, and says whether a whole message came of it: then it has to be that one.
    bool take(std::size_t offset, std::size_t size, bool more, Header const& header = SENT,
              Address const& from = PEER) {
        return take(m_payload, offset, size, more, header, from);
    }
    bool take(Bytes const& payload, std::size_t offset, std::size_t size, bool more,
              Header const& header = SENT, Address const& from = PEER) {
        m_whole = m_sut.take({header, static_cast<std::uint32_t>(offset), more,
                              payload.data() + std::min(offset, payload.size()), size},
                             from, m_now);
        if (m_whole) {
            EXPECT_EQ(*m_whole, encode(header, m_payload));
        }
        return m_whole.has_value();
    }
    /// An honest message of 100 bytes is put together all the same.
    void expectNext() {
        Header next = SENT;
        next.session = ++m_session;
        m_payload.resize(100);
        EXPECT_FALSE(take(0, 64, true, next));
        EXPECT_TRUE(take(64, 36, false, next));
    }
    /// What was just taken was dropped, together with its message, and the next one is fine.
    void expectDropped() {
        EXPECT_EQ(m_sut.messages(), 0U);
        EXPECT_EQ(counters().lostSegmented - m_lost, 1);
        expectNext();
    }

    Tp_assembler m_sut{MOST};
    Bytes m_payload = pattern(100);
    std::optional<Bytes> m_whole;
    milliseconds m_now{1000};
    std::int64_t const m_lost = counters().lostSegmented;
    std::uint16_t m_session = 0x4000;
};

TEST(Tp_segment_test, GoesOutWithFlagAndOffsetAndIsReadBack) {
    Bytes const payload = {1, 2, 3};
    Bytes const wire = encode(Tp_segment{SENT, 1392, true, payload.data(), payload.size()});
    EXPECT_EQ(wire, (Bytes{0xB0, 0x47, 0x00, 0x02, 0x00, 0x00, 0x00, 0x0F, 0x01, 0x01, 0x00, 0x01,
                           0x01, 0x02, 0x20, 0x00, 0x00, 0x00, 0x05, 0x71, 0x01, 0x02, 0x03}));
    ASSERT_TRUE(isSegment(readHeader(wire.data())));
    auto const segment =
        readSegment(readHeader(wire.data()), wire.data() + HEADER_BYTES, wire.size() - HEADER_BYTES);
    ASSERT_TRUE(segment);
    EXPECT_EQ(segment->header, SENT);
    EXPECT_EQ(segment->offset, 1392U);
    EXPECT_TRUE(segment->more);
    EXPECT_EQ(Bytes(segment->bytes, segment->bytes + segment->size), payload);
}

TEST(Tp_segment_test, ReservedBitsAreIgnored) {
    for (std::uint8_t reserved = 0; reserved < 8; ++reserved) {
        Bytes const word = {0x00, 0x00, 0x05, static_cast<std::uint8_t>(0x71 | reserved << 1)};
        auto const segment = readSegment(SENT, word.data(), word.size());
        ASSERT_TRUE(segment);
        EXPECT_EQ(segment->offset, 1392U);
        EXPECT_TRUE(segment->more);
    }
}

TEST(Tp_segment_test, WhatHasNoSecondHeaderIsNone) {
    Bytes const word(4);
    for (std::size_t size = 0; size < TP_HEADER_BYTES; ++size)
        EXPECT_FALSE(readSegment(SENT, word.data(), size)) << size;
    EXPECT_TRUE(readSegment(SENT, word.data(), TP_HEADER_BYTES));
}

TEST(Tp_segment_test, FlagCountsAtTypesThatExistOnly) {
    for (unsigned type = 0; type < 256; ++type) {
        Header header = SENT;
        header.type = static_cast<std::uint8_t>(type);
        bool const exists = type == 0x20 || type == 0x21 || type == 0x22 || type == 0xA0 || type == 0xA1;
        EXPECT_EQ(isSegment(header), exists) << type;
        header.protocolVersion = 2;
        EXPECT_FALSE(isSegment(header)) << "nobody knows what another version's segments look like";
    }
    EXPECT_FALSE(isSegment({0xFFFF, 0x0000, 0xDEAD, 0xBEEF, 1, 1, 0x20, 0})) << "a magic cookie";
}

TEST_F(Tp_assembler_test, SegmentsInOrderMakeAMessage) {
    EXPECT_FALSE(take(0, 32, true));
    EXPECT_FALSE(take(32, 32, true));
    EXPECT_TRUE(take(64, 36, false));
    EXPECT_EQ(m_sut.messages(), 0U);
    EXPECT_EQ(counters().lostSegmented, m_lost);
}

TEST_F(Tp_assembler_test, SegmentsInReverseOrderMakeAMessage) {
    EXPECT_FALSE(take(64, 36, false));
    EXPECT_FALSE(take(32, 32, true));
    EXPECT_TRUE(take(0, 32, true));
}

TEST_F(Tp_assembler_test, EveryOrderWithDuplicatesAndOverlapsMakesAMessage) {
    std::mt19937 dice(1);
    m_payload = pattern(MOST - 5);
    for (int round = 0; round < 200; ++round) {
        std::vector<std::pair<std::size_t, std::size_t>> pieces;
        for (std::size_t at = 0; at < m_payload.size();) {
            std::size_t const size = std::min<std::size_t>(16 * (1 + dice() % 20), m_payload.size() - at);
            pieces.emplace_back(at, size);
            if (dice() % 4 == 0) pieces.emplace_back(at, size);
            if (dice() % 4 == 0 && at >= 32)
                pieces.emplace_back(at - 32, std::min<std::size_t>(48, m_payload.size() - at + 32));
            at += size;
        }
        std::shuffle(pieces.begin(), pieces.end(), dice);
        int whole = 0;
        for (auto const& [at, size] : pieces) {
            whole += take(at, size, at + size != m_payload.size()) ? 1 : 0;
            if (whole != 0) break;
        }
        ASSERT_EQ(whole, 1) << round;
    }
    EXPECT_EQ(counters().lostSegmented, m_lost);
}

TEST_F(Tp_assembler_test, SingleSegmentIsAMessage) {
    EXPECT_TRUE(take(0, 100, false));
}

TEST_F(Tp_assembler_test, LongestMessageIsPutTogetherAndOneByteMoreIsNot) {
    m_payload = pattern(MOST);
    EXPECT_FALSE(take(0, 2048, true));
    EXPECT_TRUE(take(2048, 2048, false));
    m_payload = pattern(MOST + 1);
    EXPECT_FALSE(take(0, 2048, true));
    EXPECT_FALSE(take(2048, 2049, false));
    expectDropped();
}

TEST_F(Tp_assembler_test, DuplicatesChangeNothing) {
    for (int copy = 0; copy < 3; ++copy) EXPECT_FALSE(take(0, 32, true));
    for (int copy = 0; copy < 3; ++copy) EXPECT_FALSE(take(64, 36, false));
    EXPECT_EQ(m_sut.bytes(), 68 + 2 * Tp_assembler::PIECE_BYTES);
    EXPECT_TRUE(take(32, 32, true));
}

TEST_F(Tp_assembler_test, OfOverlappingSegmentsTheLastOneHolds) {
    EXPECT_FALSE(take(pattern(100, 7), 0, 64, true));
    EXPECT_FALSE(take(pattern(100, 8), 16, 16, true));
    EXPECT_FALSE(take(0, 48, true));
    EXPECT_FALSE(take(48, 16, true));
    EXPECT_TRUE(take(64, 36, false));
}

TEST_F(Tp_assembler_test, SegmentAcrossSeveralPiecesFillsTheirGaps) {
    EXPECT_FALSE(take(16, 16, true));
    EXPECT_FALSE(take(48, 16, true));
    EXPECT_FALSE(take(80, 20, false));
    EXPECT_TRUE(take(0, 96, true));
}

TEST_F(Tp_assembler_test, ReturnCodeIsThatOfTheLastSegment) {
    Header changed = SENT;
    changed.code = 5;
    EXPECT_FALSE(take(0, 64, true));
    EXPECT_TRUE(take(64, 36, false, changed));  // take() expects the changed header
}

TEST_F(Tp_assembler_test, GapKeepsAMessageFromBeingWholeAndItIsForgotten) {
    EXPECT_FALSE(take(0, 32, true));
    EXPECT_FALSE(take(64, 36, false));
    m_now += Tp_assembler::SILENCE - milliseconds(1);
    EXPECT_EQ(m_sut.dropSilent(m_now), m_now + milliseconds(1));
    m_now += milliseconds(1);
    EXPECT_FALSE(m_sut.dropSilent(m_now));
    expectDropped();
}

TEST_F(Tp_assembler_test, FirstSegmentMissingIsForgotten) {
    EXPECT_FALSE(take(32, 32, true));
    EXPECT_FALSE(take(64, 36, false));
    m_now += Tp_assembler::SILENCE;
    m_sut.dropSilent(m_now);
    expectDropped();
}

TEST_F(Tp_assembler_test, OnlyNewBytesProlongTheWait) {
    EXPECT_FALSE(take(0, 32, true));
    m_now += Tp_assembler::SILENCE / 2;
    EXPECT_FALSE(take(0, 32, true));
    m_now += Tp_assembler::SILENCE / 2;
    EXPECT_FALSE(m_sut.dropSilent(m_now));
    EXPECT_EQ(m_sut.messages(), 0U) << "the copy brought nothing";

    EXPECT_FALSE(take(0, 32, true));
    m_now += Tp_assembler::SILENCE / 2;
    EXPECT_FALSE(take(32, 32, true));
    m_now += Tp_assembler::SILENCE / 2;
    EXPECT_TRUE(m_sut.dropSilent(m_now));
    EXPECT_TRUE(take(64, 36, false));
}

TEST_F(Tp_assembler_test, SizeThatIsNoMultipleOf16BeforeTheLastSegmentIsDropped) {
    for (std::size_t const size : {1U, 8U, 15U, 17U, 24U, 31U}) {
        EXPECT_FALSE(take(0, 32, true));
        EXPECT_FALSE(take(32, size, true));
        EXPECT_EQ(m_sut.messages(), 0U) << size;
    }
    EXPECT_EQ(counters().lostSegmented - m_lost, 6);
    expectNext();
}

TEST_F(Tp_assembler_test, EmptySegmentIsDropped) {
    EXPECT_FALSE(take(0, 32, true));
    EXPECT_FALSE(take(32, 0, false));
    expectDropped();
}

TEST_F(Tp_assembler_test, EmptySegmentAloneIsDropped) {
    EXPECT_FALSE(take(0, 0, false));
    expectDropped();
}

TEST_F(Tp_assembler_test, LastSegmentsThatDisagreeAreDropped) {
    EXPECT_FALSE(take(64, 36, false));
    EXPECT_FALSE(take(64, 35, false));
    expectDropped();
}

TEST_F(Tp_assembler_test, LastSegmentThatEndsBeforeAnotherOneIsDropped) {
    EXPECT_FALSE(take(64, 32, true));
    EXPECT_FALSE(take(32, 16, false));
    expectDropped();
}

TEST_F(Tp_assembler_test, SegmentBeyondTheLastOneIsDropped) {
    m_payload = pattern(200);
    EXPECT_FALSE(take(64, 36, false));
    EXPECT_FALSE(take(112, 16, true));
    expectDropped();
}

TEST_F(Tp_assembler_test, SegmentThatEndsWithTheLastOneButPromisesMoreIsDropped) {
    EXPECT_FALSE(take(64, 16, false));
    EXPECT_FALSE(take(64, 16, true));
    expectDropped();
}

TEST_F(Tp_assembler_test, LastSegmentThatEndsWithOneThatPromisedMoreIsDropped) {
    EXPECT_FALSE(take(0, 32, true));
    EXPECT_FALSE(take(16, 16, false));
    expectDropped();
}

TEST_F(Tp_assembler_test, OffsetsUpTo28BitsAreComparedWithTheBoundAndNothingIsKept) {
    m_payload = pattern(16);
    for (std::uint32_t const offset : {0x1000U, 0x10000U, 0x7FFFFFF0U, 0x80000000U, 0xFFFFFFF0U}) {
        EXPECT_FALSE(take(offset, 16, true));
        EXPECT_EQ(m_sut.messages(), 0U);
        EXPECT_FALSE(take(offset, 16, false));
        EXPECT_EQ(m_sut.messages(), 0U);
    }
    EXPECT_EQ(counters().lostSegmented - m_lost, 10);
    expectNext();
}

TEST_F(Tp_assembler_test, FarOffsetCostsNoMoreThanItsBytes) {
    m_payload = pattern(MOST);
    EXPECT_FALSE(take(MOST - 16, 16, false));
    EXPECT_EQ(m_sut.bytes(), 16 + Tp_assembler::PIECE_BYTES);
}

TEST_F(Tp_assembler_test, ChangedHeaderIsAnotherMessage) {
    for (auto const& change : std::initializer_list<void (*)(Header&)>{
             [](Header& header) { header.service ^= 1U; }, [](Header& header) { header.method ^= 1U; },
             [](Header& header) { header.client ^= 1U; }, [](Header& header) { header.session ^= 4U; },
             [](Header& header) { header.interfaceVersion ^= 1U; },
             [](Header& header) { header.type = 0x01; }}) {
        Header other = SENT;
        change(other);
        EXPECT_FALSE(take(0, 64, true));
        EXPECT_FALSE(take(64, 36, false, other)) << "its segments don't complete the first";
        EXPECT_EQ(m_sut.messages(), 2U);
        EXPECT_TRUE(take(64, 36, false));
        EXPECT_TRUE(take(0, 64, true, other));
    }
}

TEST_F(Tp_assembler_test, InterleavedSessionsAndSendersAreKeptApart) {
    Header second = SENT;
    second.session = 2;
    EXPECT_FALSE(take(0, 64, true));
    EXPECT_FALSE(take(0, 64, true, second));
    EXPECT_FALSE(take(0, 64, true, SENT, OTHER));
    EXPECT_TRUE(take(64, 36, false, second));
    EXPECT_TRUE(take(64, 36, false, SENT, OTHER));
    EXPECT_TRUE(take(64, 36, false));
}

TEST_F(Tp_assembler_test, WithoutSessionsSegmentsHaveToComeInOrder) {
    Header unnumbered = SENT;
    unnumbered.session = 0;
    EXPECT_FALSE(take(0, 64, true, unnumbered));
    EXPECT_TRUE(take(64, 36, false, unnumbered));

    EXPECT_FALSE(take(64, 36, false, unnumbered)) << "which message's is that?";
    expectDropped();
}

TEST_F(Tp_assembler_test, WithoutSessionsAFirstSegmentBeginsAnew) {
    Header unnumbered = SENT;
    unnumbered.session = 0;
    EXPECT_FALSE(take(pattern(100, 7), 0, 32, true, unnumbered));
    EXPECT_FALSE(take(pattern(100, 7), 32, 32, true, unnumbered));
    EXPECT_FALSE(take(0, 64, true, unnumbered));
    EXPECT_TRUE(take(64, 36, false, unnumbered)) << "without a byte of the message before";
    EXPECT_EQ(counters().lostSegmented - m_lost, 1);
}

TEST_F(Tp_assembler_test, MessagesOfOneSenderAreBoundedAndTheStalestMakesRoom) {
    for (std::uint16_t session = 1; session <= Tp_assembler::PEER_MESSAGES + 1; ++session) {
        Header header = SENT;
        header.session = session;
        m_now += milliseconds(1);
        EXPECT_FALSE(take(0, 64, true, header));
    }
    EXPECT_EQ(m_sut.messages(), Tp_assembler::PEER_MESSAGES);
    EXPECT_EQ(counters().lostSegmented - m_lost, 1);
    Header newest = SENT;
    newest.session = Tp_assembler::PEER_MESSAGES + 1;
    EXPECT_TRUE(take(64, 36, false, newest));
    EXPECT_FALSE(take(64, 36, false)) << "the first had to go";
}

TEST_F(Tp_assembler_test, MessagesOfAllSendersAreBoundedAndOneThatGoesOnIsFinished) {
    EXPECT_FALSE(take(0, 16, true));
    for (std::uint16_t port = 1; port <= 10 * Tp_assembler::MESSAGES; ++port) {
        m_now += milliseconds(1);
        EXPECT_FALSE(take(0, 16, true, SENT, {0x0A000003, port}));
        EXPECT_LE(m_sut.messages(), Tp_assembler::MESSAGES);
        if (port % 50 == 0 && port <= 250) {
            EXPECT_FALSE(take(16 * (port / 50), 16, true));
        }
        if (port == 260) {
            EXPECT_TRUE(take(96, 4, false)) << "a flood of others doesn't drive it out";
        }
    }
}

TEST_F(Tp_assembler_test, BytesOfOneSenderAndOfAllAreBounded) {
    m_payload = pattern(MOST);
    for (std::uint16_t number = 0; number < 200; ++number) {
        Header header = SENT;
        header.session = static_cast<std::uint16_t>(number + 1);
        m_now += milliseconds(1);
        EXPECT_FALSE(take(0, 2048, true, header));
        EXPECT_LE(m_sut.bytes(), Tp_assembler::PEER_SHARE * MOST);
    }
    for (std::uint16_t port = 1; port < 200; ++port) {
        m_now += milliseconds(1);
        EXPECT_FALSE(take(0, 2048, true, SENT, {0x0A000003, port}));
        EXPECT_LE(m_sut.bytes(), Tp_assembler::SHARE * MOST);
    }
    EXPECT_GT(m_sut.bytes(), (Tp_assembler::SHARE - 1) * MOST);
}

TEST_F(Tp_assembler_test, MessageOfTooManyPiecesIsDropped) {
    m_payload = pattern(MOST);
    for (std::size_t offset = 0; offset < MOST - 32 && counters().lostSegmented == m_lost; offset += 32) {
        EXPECT_FALSE(take(offset, 16, true));
        EXPECT_LE(m_sut.bytes(), Tp_assembler::PEER_SHARE * MOST);
    }
    expectDropped();
}

TEST_F(Tp_assembler_test, GarbageIsBoundedAndHarmsNobody) {
    std::mt19937 dice(7);
    m_payload = pattern(MOST);
    for (int count = 0; count < 100'000; ++count) {
        Header header = SENT;
        header.session = static_cast<std::uint16_t>(dice() % 8);
        std::size_t const offset = dice() % (MOST / 16 + 4) * 16;
        std::size_t const size = std::min<std::size_t>(dice() % 80, MOST - std::min(offset, MOST));
        m_now += milliseconds(dice() % 4);
        m_sut.take({header, static_cast<std::uint32_t>(offset), dice() % 4 != 0, m_payload.data(), size},
                   {static_cast<std::uint32_t>(0x0A000000 + dice() % 8), 1}, m_now);
        ASSERT_LE(m_sut.messages(), Tp_assembler::MESSAGES);
        ASSERT_LE(m_sut.bytes(), Tp_assembler::SHARE * MOST);
    }
    m_payload = pattern(100);
    expectNext();
}

}  // namespace
}  // namespace eb::com::runtime::someip
