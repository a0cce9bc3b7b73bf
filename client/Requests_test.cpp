// Which message gets which answer, apart from the values.
#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvg::val;

struct Kind {
    int msgId;
    char const* line;
    char const* broken;  ///< the text in front of the code; null for a message without a record
    Bytes good;
};

std::vector<Kind> const& kinds() {
    static std::vector<Kind> const all{
        {546, "<<< DIAGMGR_GET_ADAPTATION_REQ", "unpackGetAdaptationReq() returns error ", request(A149, 1)},
        {547, "<<< DIAGMGR_GET_ADAPTATION_RESP", "UnpackDiagmgrGetAdaptationResp() returns error ",
         response(A149, 1, {9, 9})},
        {548, "<<< DIAGMGR_ADAPTATION_IND", "UnpackDiagmgrAdaptationInd() returns error ",
         u32(A149) + Bytes{0}},
        {549, "<<< DIAGMGR_GET_ADAPTATIONSET_REQ", "unpackGetAdaptationsetReq() returns error ",
         setRequest(1, {A149})},
        {586, "<<< DIAGMGR_GET_DATASET_VERSION_REQ", "unpackGetDataSetVersionReq() returns error ",
         request(190, 1)},
        {588, "<<< DIAGMGR_GET_DATASET_REQ", "unpackGetDataSetReq() returns error ",
         request(190, 1) + Bytes{5}},
        {600, "<<< DIAGMGR_JAVA_GET_CODING_REQ", nullptr, {}},
        {647, "<<< DIAGMGR_JAVA_CONTROL_MONITOR_PATH_REQ", "unpackJavaControlMonitorPathReq() returns error ",
         u32(3) + u32(1)},
    };
    return all;
}

class Requests : public ClientTest {
protected:
    std::size_t errorsWith(std::string const& text) {
        auto const errors = log.errors();
        return static_cast<std::size_t>(std::count(errors.begin(), errors.end(), text));
    }
};

TEST_F(Requests, OfUnknownIdsAreIgnored) {
    registerJava();
    for (int const msgId : {545, 550, 587, 601, 648, 666, 2350, 0, -1, 65536 + 546}) {
        log.clear();
        EXPECT_EQ(deliver(msgId, request(A149, 1)), eValNotSupported);
        auto const ignored = line("<msgId> " + std::to_string(msgId) + " ignored.");
        EXPECT_EQ(ignored.level, 4);
        EXPECT_EQ(ignored.function, "handleMsg");
    }
    EXPECT_THAT(jvm.messages(), IsEmpty());
}

TEST_F(Requests, AreToldByName) {
    bringUp();
    for (Kind const& kind : kinds()) {
        EXPECT_EQ(deliver(kind.msgId, kind.good), eValOk) << kind.msgId;
        EXPECT_EQ(line(kind.line).level, 4);
        EXPECT_EQ(line(kind.line).function, "handleMsg");
    }
}

TEST_F(Requests, ThatCannotBeUnpackedAreRefusedWithTheCodecsCode) {
    bringUp();
    auto const sent = jvm.messages().size();
    for (Kind const& kind : kinds()) {
        if (kind.broken == nullptr) continue;
        SCOPED_TRACE(kind.msgId);
        struct {
            Bytes payload;
            int code;
        } const cases[]{
            {{}, 4},
            {Bytes(kind.good.begin(), kind.good.end() - 1), 4},
            {kind.good + Bytes{0}, 5},
            {kind.good + Bytes(32768, 0), 5},  // as a signed 16-bit size it would be negative
            {Bytes(65535, 0xFF), kind.msgId == 647   ? 5
                                 : kind.msgId == 549 ? 8
                                                     : 11},
        };
        for (auto const& one : cases) {
            log.clear();
            EXPECT_EQ(deliver(kind.msgId, one.payload), eValBadMessage) << one.payload.size();
            EXPECT_EQ(errorsWith(kind.broken + std::to_string(one.code)), 1U) << one.payload.size();
        }
    }
    EXPECT_EQ(jvm.messages().size(), sent) << "nothing goes to Java";
    EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(Requests, ReadNothingBeyondTheirBytesWhateverSizeTheyClaim) {
    bringUp();
    // A set that claims as many ids as fit, in a message that has none of them.
    for (unsigned const size : {6U, 7U, 32767U, 32768U, 65535U}) {
        Bytes payload(size, 0);
        payload[0] = 64;
        EXPECT_EQ(deliver(549, payload), eValBadMessage) << size;
    }
    // A value that claims 4032 bytes.
    for (unsigned const size : {10U, 4041U, 32768U}) {
        Bytes payload = u32(A149) + u32(1) + u16(4032);
        payload.resize(size);
        EXPECT_EQ(deliver(547, payload), eValBadMessage) << size;
    }
}

TEST_F(Requests, AfterDestroyAreDroppedAsDone) {
    bringUp();
    listener().destroy();
    auto const sent = jvm.messages().size();
    for (Kind const& kind : kinds()) {
        if (kind.msgId == 547 || kind.msgId == 548) continue;  // answered in place
        EXPECT_EQ(deliver(kind.msgId, kind.good), eValOk) << kind.msgId;
    }
    unregisterJava();  // joins what might have been started
    EXPECT_EQ(jvm.messages().size(), sent);
    EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(Requests, AfterDestroyThatAreBrokenAreStillRefused) {
    registerJava();
    listener().destroy();
    EXPECT_EQ(deliver(546, {1}), eValBadMessage);
    EXPECT_EQ(deliver(549, setRequest(1, {A149})), eValServiceNotAvailable);
}

TEST_F(Requests, ForASetThatAreBrokenAreRefusedAsSuchAlsoWithoutTheService) {
    registerJava();
    log.clear();
    EXPECT_EQ(deliver(549, {1}), eValBadMessage);
    EXPECT_EQ(count("Service not available!"), 0U);
    EXPECT_EQ(deliver(549, setRequest(7, {A149})), eValServiceNotAvailable);
    EXPECT_THAT(story(), testing::IsSupersetOf({"4 adaptationIds=[0x95], transactionId=7"}));
}

TEST_F(Requests, ForASetWithoutTheServiceAreRefusedUnanswered) {
    registerJava();
    EXPECT_EQ(deliver(549, setRequest(1, {A149})), eValServiceNotAvailable);
    EXPECT_EQ(line("Service not available!").level, 4);
    unregisterJava();
    EXPECT_THAT(jvm.messages(), IsEmpty());
}

TEST_F(Requests, ForOneValueWithoutTheServiceAreAnsweredWithoutValue) {
    registerJava();
    EXPECT_EQ(deliver(546, request(A149, 77)), eValOk);
    EXPECT_EQ(awaitMessage(GET_ADAPTATION_RESP), response(A149, 77));
    EXPECT_EQ(line("Service not available!").level, 4);
    EXPECT_EQ(line("AdaptationId=0x95").level, 4);
}

TEST_F(Requests, ReachTheClientThroughTheBridge) {
    bringUp();
    service.setValue(R149, {1, 2});
    EXPECT_EQ(write(GET_ADAPTATION_REQ, request(A149, 5)), 0);
    EXPECT_EQ(awaitMessage(GET_ADAPTATION_RESP), response(A149, 5, {1, 2}));
    EXPECT_EQ(write(GET_ADAPTATIONSET_REQ, setRequest(6, {A149})), 0);
    EXPECT_EQ(awaitMessage(GET_ADAPTATIONSET_RESP), setResponse(6, item(A149, {1, 2})));
    EXPECT_EQ(write(601, {}), -1);
}

// The ring of 547 and 548.

TEST_F(Requests, IndicationOfJavaIsAnsweredByAskingForTheValue) {
    registerJava();
    EXPECT_EQ(deliver(548, u32(A255) + Bytes{0x55}), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(fake::Message{GET_ADAPTATION_REQ, request(A255, 0)}));
    EXPECT_EQ(line(">>> DIAGMGR_GET_ADAPTATION_REQ").level, 4);
}

TEST_F(Requests, ValueOfJavaIsAcknowledgedByAnIndication) {
    registerJava();
    EXPECT_EQ(deliver(547, response(105, 9, {1, 2, 3})), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(fake::Message{ADAPTATION_IND, u32(105) + Bytes{0x80}}));
    EXPECT_EQ(line(">>> DIAGMGR_ADAPTATION_IND").level, 4);
}

TEST_F(Requests, RingTurnsAsLongAsJavaTurnsIt) {
    registerJava();
    for (int turn = 0; turn < 50; ++turn) {
        EXPECT_EQ(deliver(548, u32(A149) + Bytes{0x80}), eValOk);
        EXPECT_EQ(deliver(547, response(A149, 0, {1})), eValOk);
    }
    EXPECT_EQ(messages(GET_ADAPTATION_REQ).size(), 50U) << "the same question again is sent again";
    EXPECT_EQ(messages(ADAPTATION_IND).size(), 50U);
}

TEST_F(Requests, RingReportsAFailedSend) {
    registerJava();
    jvm.failAlways("NewByteArray");
    for (int const msgId : {547, 548}) {
        log.clear();
        EXPECT_EQ(deliver(msgId, msgId == 547 ? response(A149, 0) : u32(A149) + Bytes{0}), eValSendFailed);
        EXPECT_THAT(log.errors(), Contains("Sending to Java failed!"));
        EXPECT_EQ(line("Sending to Java failed!").function,
                  msgId == 547 ? "unpackGetAdaptationResp" : "unpackAdaptationInd");
        EXPECT_EQ(count(">>> DIAGMGR_GET_ADAPTATION_REQ") + count(">>> DIAGMGR_ADAPTATION_IND"), 0U);
    }
    EXPECT_THAT(jvm.messages(), IsEmpty());
}

TEST_F(Requests, AreLoggedInDetail) {
    bringUp();
    deliver(549, setRequest(7, {A149, 105}));
    deliver(586, request(190, 8));
    deliver(588, request(190, 9) + Bytes{5});
    deliver(647, u32(3) + u32(10));
    for (char const* text :
         {"adaptationIds=[0x95,0x69], transactionId=7", "datasetId=0xbe, transactionId=8",
          "datasetId=0xbe, transactionId=9, segmentId=5", "componentId=3, transactionId=10"}) {
        EXPECT_EQ(count(text), 1U) << text;
    }
}

}  // namespace
}  // namespace client_test
