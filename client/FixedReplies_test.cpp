// The four replies that are the same for every vehicle.
#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using namespace zvg::val;

struct Exchange {
    int request;
    Bytes payload;
    int reply;
    Bytes expected;
    char const* function;
};

std::vector<Exchange> const& exchanges() {
    static std::vector<Exchange> const all{
        {586,
         request(190, 0x01020304),
         587,
         {190, 0, 0, 0, 4, 3, 2, 1, 0, '-', '-', '-', '-', 0},
         "handleGetDataSetVersionReq"},
        {588,
         request(320, 0xFFFFFFFF) + Bytes{5},
         589,
         {0x40, 1, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 1, 0, 0},
         "handleGetDatasetResp"},
        {600, {1, 2, 3}, 601, u32(2) + Bytes(58, 0), "handleGetJavaCodingReq"},
        {647, u32(3) + u32(0x0A0B0C0D), 648, u32(7) + u32(0x0A0B0C0D) + Bytes{0x80, 0x80, 0x80, 0x80},
         "handleJavaControlMonitorPathReq"},
    };
    return all;
}

class FixedReplies : public ClientTest {};

TEST_F(FixedReplies, AreTheSameByteForByteEveryTimeWhileTheServiceIsAway) {
    registerJava();
    for (Exchange const& one : exchanges()) {
        SCOPED_TRACE(one.request);
        for (std::size_t times = 1; times <= 3; ++times) {
            EXPECT_EQ(write(one.request, one.payload), 0);
            EXPECT_THAT(awaitMessages(one.reply, times), testing::Each(one.expected));
        }
    }
}

TEST_F(FixedReplies, DoNotAskTheService) {
    bringUp();
    for (Exchange const& one : exchanges()) {
        EXPECT_EQ(deliver(one.request, one.payload), eValOk);
        EXPECT_EQ(awaitMessage(one.reply), one.expected);
    }
    EXPECT_THAT(service.requests(), testing::IsEmpty());
}

TEST_F(FixedReplies, TellOfAnySegmentThatItIsTheFirstAndEmpty) {
    registerJava();
    for (unsigned segment = 0; segment < 256; segment += 15) {
        EXPECT_EQ(deliver(588, request(190, segment) + Bytes{static_cast<unsigned char>(segment)}), eValOk);
    }
    auto const replies = awaitMessages(589, 18);
    for (Bytes const& reply : replies) EXPECT_EQ(Bytes(reply.begin() + 8, reply.end()), (Bytes{0, 1, 0, 0}));
}

TEST_F(FixedReplies, AnswerARequestForTheCodingWhateverItHolds) {
    registerJava();
    std::vector<Bytes> const payloads{{}, {0}, Bytes(100, 0xFF), Bytes(65535, 1)};
    for (Bytes const& payload : payloads) EXPECT_EQ(deliver(600, payload), eValOk);
    EXPECT_THAT(awaitMessages(601, payloads.size()), testing::Each(u32(2) + Bytes(58, 0)));
}

TEST_F(FixedReplies, ReportAFailedSendUnderTheirName) {
    registerJava();
    auto& sut = listener();
    jvm.failAlways("NewByteArray");
    EXPECT_EQ(sut.handleGetDataSetVersionReq({tDiagMgrDatasetID{190}, 1}), eValSendFailed);
    EXPECT_EQ(sut.handleGetDatasetResp({tDiagMgrDatasetID{190}, 1, 0}), eValSendFailed);
    EXPECT_EQ(sut.handleGetJavaCodingReq(), eValSendFailed);
    EXPECT_EQ(sut.handleJavaControlMonitorPathReq({3, 1}), eValSendFailed);
    std::vector<std::string> functions;
    for (auto const& line : log.lines()) {
        if (line.text != "Sending to Java failed!") continue;
        EXPECT_EQ(line.level, 2);
        functions.push_back(line.function);
    }
    std::vector<std::string> expected;
    for (Exchange const& one : exchanges()) expected.emplace_back(one.function);
    EXPECT_EQ(functions, expected);
    jvm.failNothing();
    EXPECT_EQ(sut.handleGetJavaCodingReq(), eValOk);
}

TEST_F(FixedReplies, AreNotSentWhileTheBridgeIsDown) {
    auto const sut = Listener::create();
    auto& client = static_cast<Listener&>(*sut);
    EXPECT_EQ(client.handleGetJavaCodingReq(), eValSendFailed);
    EXPECT_EQ(line("initialisation in progress message is not send").level, 4);
    EXPECT_EQ(line("Sending to Java failed!").level, 2);
}

}  // namespace
}  // namespace client_test
