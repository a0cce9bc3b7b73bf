#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What comes out of the pieces: "0005:7" for a frame with its payload's length, "!04" for a refusal.
std::vector<std::string> readAll(FrameReader& reader, std::vector<Message> const& pieces) {
    std::vector<std::string> all;
    for (auto const& piece : pieces) {
        Bytes left(piece);
        while (auto const frame = reader.next(left)) {
            if (frame->refused)
                all.push_back("!" + hexByte(static_cast<unsigned char>(*frame->refused)).substr(2));
            else
                all.push_back(hexNumber(frame->header.type).substr(2) + ":" +
                              std::to_string(frame->payload.size()));
        }
    }
    return all;
}

Message const ACTIVATION = bytes("02 FD 00 05 00 00 00 07 0E 80 00 00 00 00 00");
Message const ALIVE = bytes("02 FD 00 07 00 00 00 00");
Message const REQUEST = bytes("02 FD 80 01 00 00 00 06 0E 80 10 01 3E 00");

class FrameReaderTest : public testing::Test {
protected:
    std::vector<std::string> read(std::vector<Message> const& pieces) { return readAll(reader, pieces); }

    Store store{100'000};
    FrameReader reader{store};
};

TEST_F(FrameReaderTest, FramesComeWholeWhereverTheStreamIsSplit) {
    Message const stream = ACTIVATION + ALIVE + REQUEST;
    for (std::size_t at = 0; at <= stream.size(); ++at) {
        SCOPED_TRACE(at);
        auto const middle = stream.begin() + std::ptrdiff_t(at);
        EXPECT_THAT(read({{stream.begin(), middle}, {middle, stream.end()}}),
                    ElementsAre("0005:7", "0007:0", "8001:6"));
    }
    std::vector<Message> bytewise;
    for (auto const byte : stream) bytewise.push_back({byte});
    EXPECT_THAT(read(bytewise), ElementsAre("0005:7", "0007:0", "8001:6"));
}

TEST_F(FrameReaderTest, PayloadIsWhatCame) {
    Bytes left(REQUEST);
    auto const frame = reader.next(left);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->payload, bytes("0E 80 10 01 3E 00"));
    EXPECT_TRUE(left.empty());
}

TEST_F(FrameReaderTest, RefusedPayloadIsSkippedWhereverItIsSplit) {
    Message const stream = bytes("02 FD 12 34 00 00 00 05 01 02 03 04 05") + ALIVE;
    for (std::size_t at = 0; at <= stream.size(); ++at) {
        SCOPED_TRACE(at);
        auto const middle = stream.begin() + std::ptrdiff_t(at);
        EXPECT_THAT(read({{stream.begin(), middle}, {middle, stream.end()}}), ElementsAre("!01", "0007:0"));
    }
}

TEST_F(FrameReaderTest, HeaderIsJudgedInTheStandardsOrder) {
    struct {
        char const* name;
        char const* stream;
        char const* outcome;
    } const rows[] = {
        {"wrong inverse before unknown type", "02 FC 12 34 FF FF FF FF", "!00"},
        {"version of 2012's draft", "01 FE 00 05 00 00 00 07", "!00"},
        {"version 4", "04 FB 00 05 00 00 00 07", "!00"},
        {"any version is for identification only", "FF 00 00 05 00 00 00 07", "!00"},
        {"unknown type before too large", "02 FD 12 34 FF FF FF FF", "!01"},
        {"UDP's type", "03 FC 00 01 00 00 00 00", "!01"},
        {"entity's type", "02 FD 80 02 00 00 00 05", "!01"},
        {"too large before wrong length", "02 FD 00 05 00 01 00 01", "!02"},
        {"wrong length", "02 FD 00 05 00 00 00 08", "!04"},
        {"diagnostic message without data", "02 FD 80 01 00 00 00 04", "!04"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        FrameReader fresh(store);
        EXPECT_THAT(readAll(fresh, {bytes(row.stream)}), ElementsAre(row.outcome));
    }
}

TEST_F(FrameReaderTest, NothingIsTakenBehindARefusalThatEndsTheConnection) {
    EXPECT_THAT(read({bytes("02 02 00 05 00 00 00 07"), ALIVE}), ElementsAre("!00"));
    EXPECT_TRUE(reader.ended());
}

TEST_F(FrameReaderTest, NegativeAcknowledgementIsLeftAlone) {
    EXPECT_THAT(read({bytes("02 FD 00 00 00 00 00 01 04") + ALIVE}), ElementsAre("0007:0"));
}

TEST_F(FrameReaderTest, LongPayloadsBorrowFromTheStoreUntilItIsEmpty) {
    Message const begun = bytes("02 FD 80 01 00 00 EA 60");  // 60000 bytes
    FrameReader second(store);
    EXPECT_THAT(read({begun}), IsEmpty());
    EXPECT_THAT(readAll(second, {begun}), ElementsAre("!03"));
    EXPECT_THAT(readAll(second, {Message(60'000), ALIVE}), ElementsAre("0007:0"));
    EXPECT_THAT(readAll(second, {REQUEST}), ElementsAre("8001:6"));
    EXPECT_THAT(read({Message(60'000)}), ElementsAre("8001:60000"));
    EXPECT_THAT(readAll(second, {begun, Message(60'000)}), ElementsAre("8001:60000"));
}

}  // namespace
}  // namespace tester::doip
