// What the log says of the client's work, line by line: level and text. Detail goes out as information,
// level 4.
#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class Story : public ClientTest {
protected:
    Story() {
        service.setValue(R149, {1, 2});
        service.setResult(R255, 9);
        service.setValue(R316, Bytes(4033, 0));
    }

    /// The line of the bytes that a read has brought.
    static std::string data(char const* record, char const* bytes) {
        return "4 <<< DSA Data (RecordID=" + std::string(record) +
               "): DT_DiagnosticValuesResultType_diagnosticData_ARRAY=" + bytes;
    }
    static constexpr char const* READY = "4 m_proxy->getDiagnosticDataValues() ready.";
    static constexpr char const* ZEROS = "[0,0,0,0,0,0,0,0,0,0,...,0,0,0,0,0,0,0,0,0,0]";
};

TEST_F(Story, OfAServiceThatIsFoundAndItsInitialValues) {
    registerJava();
    ASSERT_TRUE(awaitLine("Service still unavailable"));
    // The first result comes on a thread of its own, before or behind the last line of the start.
    EXPECT_THAT(story(), UnorderedElementsAre("4 ", "4 ",
                                              "4 StartFindService called with instanceId: "
                                              "DiagnosticDataDistribution_RequiredSomeipServiceInstance",
                                              "4 ", "4 Service still unavailable"));
    log.clear();
    service.offer();
    ASSERT_TRUE(awaitLine("Message not sent to Java"));
    EXPECT_THAT(story(), ElementsAre("4 ", "4 Registering service handler", "4 DataValuesHash.Subscribe()",
                                     "4 ", "4 AdaptationID=0x95, RecordID= 0xa50", READY,
                                     data("0xa50", "[1,2]"), "4 AdaptationID=0xff, RecordID= 0xc5f", READY,
                                     "2 DSA returns error: 9 against RecordID: 0xc5f",
                                     "4 AdaptationID=0x138, RecordID= 0x1a5", READY, data("0x1a5", "[]"),
                                     "2 DSA returns success but no diagnosticData against RecordID: 0x1a5",
                                     "4 AdaptationID=0x13c, RecordID= 0x5cc", READY, data("0x5cc", ZEROS),
                                     "2 DSA returns success but no space left against RecordID: 0x5cc",
                                     "2 Message not sent to Java"));
    EXPECT_EQ(line("Registering service handler").function, "serviceAvailabilityCallback");
    log.clear();
    service.withdraw();
    ASSERT_TRUE(awaitLine("Service lost"));
    EXPECT_THAT(story(), ElementsAre("4 ", "4 Service lost"));
}

TEST_F(Story, OfASetRequest) {
    bringUp();
    service.setValue(R316, Bytes(4012, 0));
    deliver(GET_ADAPTATIONSET_REQ, setRequest(7, {A149, 105, A316, A149, A149}));
    awaitMessage(GET_ADAPTATIONSET_RESP);
    ASSERT_TRUE(awaitLine("Message sent to Java"));
    EXPECT_THAT(
        story(),
        ElementsAre("4 <<< DIAGMGR_GET_ADAPTATIONSET_REQ",
                    "4 adaptationIds=[0x95,0x69,0x13c,0x95,0x95], transactionId=7",
                    "4 AdaptationID=0x95, RecordID= 0xa50", READY, data("0xa50", "[1,2]"),
                    "4 AdaptationID=0x69, RecordID= 0x0",
                    "4 Invalid AdaptationID (AdaptationID=0x69) received, call to DSA ignored",
                    "4 AdaptationID=0x13c, RecordID= 0x5cc", READY, data("0x5cc", ZEROS),
                    "4 AdaptationID=0x95, RecordID= 0xa50",
                    "2 adaptationID[] boundary exceed for RecordId: 0xa50",
                    "4 AdaptationID=0x95, RecordID= 0xa50",
                    "2 adaptationID[] boundary exceed for RecordId: 0xa50", "2 Message sent to Java"));
}

TEST_F(Story, OfSingleRequests) {
    bringUp();
    auto const read = [this](unsigned id) {
        log.clear();
        auto const sent = messages(GET_ADAPTATION_RESP).size();
        deliver(GET_ADAPTATION_REQ, request(id, 1));
        awaitMessages(GET_ADAPTATION_RESP, sent + 1);
        EXPECT_TRUE(awaitLine("Message sent to Java"));
        return story();
    };
    char const* const request = "4 <<< DIAGMGR_GET_ADAPTATION_REQ";
    char const* const received = "4 Received data from DDDS server.";
    char const* const response = "4 >>> DIAGMGR_GET_ADAPTATION_RESP";
    char const* const sent = "2 Message sent to Java";
    EXPECT_THAT(read(A149),
                ElementsAre(request, "4 AdaptationId=0x95", "4 AdaptationID=0x95, RecordID= 0xa50", received,
                            data("0xa50", "[1,2]"), "4 lenofResp=2", response, sent));
    EXPECT_THAT(read(A255),
                ElementsAre(request, "4 AdaptationId=0xff", "4 AdaptationID=0xff, RecordID= 0xc5f", received,
                            "4 DSA returns error: 9", response, sent));
    EXPECT_THAT(read(A312),
                ElementsAre(request, "4 AdaptationId=0x138", "4 AdaptationID=0x138, RecordID= 0x1a5",
                            received, data("0x1a5", "[]"), "4 DSA returns empty data", response, sent));
    EXPECT_THAT(read(A316),
                ElementsAre(request, "4 AdaptationId=0x13c", "4 AdaptationID=0x13c, RecordID= 0x5cc",
                            received, data("0x5cc", ZEROS), "4 lenofResp=4033",
                            "4 No space left for DSA data", response, sent));
    EXPECT_THAT(read(105),
                ElementsAre(request, "4 AdaptationId=0x69", "4 AdaptationID=0x69, RecordID= 0x0",
                            "4 Invalid AdaptationID (AdaptationID=0x69) received, call to DSA ignored",
                            response, sent));
    service.withdraw();
    ASSERT_TRUE(awaitLine("Service lost"));
    EXPECT_THAT(read(A149),
                ElementsAre(request, "4 AdaptationId=0x95", "4 AdaptationID=0x95, RecordID= 0xa50",
                            "4 Service not available!", response, sent));
}

TEST_F(Story, OfANotificationAndItsScan) {
    bringUp();
    service.setValue(R149, {3});
    service.notify(hashes({0}));
    ASSERT_TRUE(awaitLine("DONE"));
    std::string const sample = "4 data sample: DT_dataValuesHash_vector=[{name_space=0,hashValue=17}]";
    EXPECT_THAT(
        story(),
        ElementsAre(sample, sample, "4 ", "4 AdaptationID=0x95, RecordID= 0xa50", READY, data("0xa50", "[3]"),
                    "4 AdaptationID=0xff, RecordID= 0xc5f", READY,
                    "2 DSA returns error: 9 against RecordID: 0xc5f", "4 AdaptationID=0x138, RecordID= 0x1a5",
                    READY, data("0x1a5", "[]"), "4 Nothing changed for AdaptationID=0x138, RecordID= 0x1a5",
                    "4 AdaptationID=0x13c, RecordID= 0x5cc", READY, data("0x5cc", ZEROS),
                    "4 Nothing changed for AdaptationID=0x13c, RecordID= 0x5cc",
                    "4 Sent DIAGMGR_ADAPTATION_IND AdaptationID=0x95, RecordID= 0xa50", "4 DONE"));
}

TEST_F(Story, OfNotificationsAboutNothing) {
    bringUp();
    auto const linesOf = [this](std::vector<Listener::Hash> const& values) {
        log.clear();
        listener().cbDataValuesHash(values);
        return story();
    };
    EXPECT_THAT(linesOf({}), ElementsAre("4 Received AUTOSAR message contains empty notification!"));
    EXPECT_THAT(linesOf({Listener::Hash{}}), ElementsAre("4 name_space element has no value."));
    EXPECT_THAT(linesOf({Listener::Hash{1U, {}, {}}}), ElementsAre("4 name_space is not an adaptation."));
}

TEST_F(Story, OfTheRequestsThatAreAnsweredHere) {
    registerJava();
    ASSERT_TRUE(awaitLine("Service still unavailable"));
    auto const linesOf = [this](int msgId, Bytes const& payload) {
        log.clear();
        auto const sent = jvm.messages().size();
        deliver(msgId, payload);
        EXPECT_TRUE(await([&] { return jvm.messages().size() > sent; }));
        return story();
    };
    EXPECT_THAT(linesOf(547, response(A149, 1)),
                ElementsAre("4 <<< DIAGMGR_GET_ADAPTATION_RESP", "4 >>> DIAGMGR_ADAPTATION_IND"));
    EXPECT_THAT(linesOf(548, u32(A149) + Bytes{0}),
                ElementsAre("4 <<< DIAGMGR_ADAPTATION_IND", "4 >>> DIAGMGR_GET_ADAPTATION_REQ"));
    EXPECT_THAT(linesOf(586, request(190, 8)),
                ElementsAre("4 <<< DIAGMGR_GET_DATASET_VERSION_REQ", "4 datasetId=0xbe, transactionId=8"));
    EXPECT_THAT(
        linesOf(588, request(190, 9) + Bytes{5}),
        ElementsAre("4 <<< DIAGMGR_GET_DATASET_REQ", "4 datasetId=0xbe, transactionId=9, segmentId=5"));
    EXPECT_THAT(linesOf(600, {}), ElementsAre("4 <<< DIAGMGR_JAVA_GET_CODING_REQ"));
    EXPECT_THAT(linesOf(647, u32(3) + u32(10)), ElementsAre("4 <<< DIAGMGR_JAVA_CONTROL_MONITOR_PATH_REQ",
                                                            "4 componentId=3, transactionId=10"));
}

TEST_F(Story, OfFailedSends) {
    bringUp();
    auto& sut = listener();
    jvm.failAlways("NewByteArray");
    tDiagmgrGetAdaptationsetReqds set{};
    sut.handleGetDiagnosticDataValues(set, true);
    EXPECT_THAT(story(), ElementsAre("2 Sending to Java failed!"));
    EXPECT_EQ(line("Sending to Java failed!").function, "handleGetDiagnosticDataValues");
    log.clear();
    sut.handleGetAdaptationReq({tDiagMgrAdaptationID{105}, 1});
    EXPECT_THAT(story(),
                ElementsAre("4 AdaptationID=0x69, RecordID= 0x0",
                            "4 Invalid AdaptationID (AdaptationID=0x69) received, call to DSA ignored",
                            "4 >>> DIAGMGR_GET_ADAPTATION_RESP", "2 Sending to Java failed!"));
    EXPECT_EQ(line("Sending to Java failed!").function, "handleGetAdaptationReq");
    log.clear();
    service.setValue(R149, {3});
    sut.sendChangedAdaptToJava();
    EXPECT_THAT(story(), testing::IsSupersetOf({"2 Sending to Java failed!", "4 DONE"}));
    EXPECT_EQ(line("Sending to Java failed!").function, "sendChangedAdaptToJava");
}

}  // namespace
}  // namespace client_test
