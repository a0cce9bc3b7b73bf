// Java's requests for one value and for a set of values, and what the service may do about them.
#include <atomic>

#include "binding/testing/Await.h"
#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using binding_testing::Gate;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using namespace zvg::val;
using std::chrono::milliseconds;

constexpr milliseconds SHORT{30};

class Reads : public ClientTest {
protected:
    /// The answer to a set request; `messages` tells how many there have been before.
    Bytes readSet(std::vector<unsigned> const& ids) {
        auto const before = messages(GET_ADAPTATIONSET_RESP).size();
        EXPECT_EQ(deliver(GET_ADAPTATIONSET_REQ, setRequest(42, ids)), eValOk);
        Bytes const answer = awaitMessages(GET_ADAPTATIONSET_RESP, before + 1).back();
        EXPECT_EQ(Bytes(answer.begin() + 2, answer.begin() + 6), u32(42));
        EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 2), u16(static_cast<unsigned>(answer.size() - 6)));
        return {answer.begin() + 6, answer.end()};
    }

    Bytes readOne(unsigned id) {
        auto const before = messages(GET_ADAPTATION_RESP).size();
        EXPECT_EQ(deliver(GET_ADAPTATION_REQ, request(id, 43)), eValOk);
        return awaitMessages(GET_ADAPTATION_RESP, before + 1).back();
    }

    static DataService::Behaviour silent() {
        return [](std::uint32_t, DataService::Reply const&) {};
    }
};

TEST_F(Reads, AskTheServiceForOneRecordOfTheAdaptations) {
    bringUp();
    readOne(A149);
    EXPECT_THAT(service.requests(), ElementsAre(Bytes{0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0x0A, 0x50}));
}

TEST_F(Reads, OfASetAreAnsweredInTheOrderOfTheRequest) {
    bringUp();
    service.setValue(R316, {1});
    service.setValue(R149, {2, 3});
    EXPECT_EQ(readSet({A316, A149, A316}), item(A316, {1}) + item(A149, {2, 3}) + item(A316, {1}));
    EXPECT_EQ(count("AdaptationID=0x13c, RecordID= 0x5cc"), 2U);
    EXPECT_EQ(count("AdaptationID=0x95, RecordID= 0xa50"), 1U);
    EXPECT_EQ(count("m_proxy->getDiagnosticDataValues() ready."), 3U);
    EXPECT_EQ(line("<<< DSA Data (RecordID=0xa50): "
                   "DT_DiagnosticValuesResultType_diagnosticData_ARRAY=[2,3]")
                  .level,
              4);
    ASSERT_TRUE(awaitLine("Message sent to Java"));
    EXPECT_EQ(line("Message sent to Java").level, 2);
}

TEST_F(Reads, OfAnEmptySetAreAnsweredWithAnEmptyBuffer) {
    bringUp();
    EXPECT_THAT(readSet({}), IsEmpty());
}

TEST_F(Reads, OfASetGiveUnknownIdsLengthZeroAndServeTheOthers) {
    bringUp();
    service.setValue(R255, {7});
    EXPECT_EQ(readSet({105, A255, 318}), item(105) + item(A255, {7}) + item(318));
    EXPECT_EQ(line("Invalid AdaptationID (AdaptationID=0x69) received, call to DSA ignored").level, 4);
    EXPECT_EQ(service.requests().size(), 1U);
}

TEST_F(Reads, OfASetThatTheServiceRefusesOrHasNothingForGetLengthZero) {
    bringUp();
    service.setResult(R149, 4000000000U);
    service.setValue(R149, {1, 2, 3});
    service.setValue(R312, {7});
    EXPECT_EQ(readSet({A149, A255, A312}), item(A149) + item(A255) + item(A312, {7}));
    EXPECT_EQ(line("DSA returns error: 4000000000 against RecordID: 0xa50").level, 2);
    EXPECT_EQ(line("DSA returns success but no diagnosticData against RecordID: 0xc5f").level, 2);
}

TEST_F(Reads, OfASetThatTimeOutLeaveTheBareId) {
    bringUp();
    service.setValue(R255, {7});
    service.behave([this](std::uint32_t record, DataService::Reply const& reply) {
        if (record == R255) service.answer(record, reply);
    });
    setAnswerWait(SHORT);
    // Only a wait that isn't cut short by a slow machine shows that the answer in between is taken.
    EXPECT_EQ(readSet({A149, 105, A312}), u32(A149) + item(105) + u32(A312));
    EXPECT_EQ(count("m_proxy->getDiagnosticDataValues() timed out!"), 2U);
    setAnswerWait(PATIENCE);
    EXPECT_EQ(readSet({A255}), item(A255, {7}));
}

TEST_F(Reads, OfSixtyFourIdsAllFitWithoutValues) {
    bringUp();
    std::vector<unsigned> const ids(64, A149);
    Bytes expected;
    for (unsigned const id : ids) expected = expected + item(id);
    EXPECT_EQ(readSet(ids), expected);
    EXPECT_EQ(service.requests().size(), 64U);
}

TEST_F(Reads, OfSixtyFourIdsStopWhereTheBufferIsFull) {
    bringUp();
    // 4026 bytes of value fill the buffer with the first item: the other 63 ids are left out.
    service.setValue(R149, Bytes(4026, 0x11));
    service.setValue(R255, {1});
    std::vector<unsigned> ids(64, A255);
    ids[0] = A149;
    EXPECT_EQ(readSet(ids), item(A149, Bytes(4026, 0x11)));
    EXPECT_EQ(count("adaptationID[] boundary exceed for RecordId: 0xc5f"), 63U);
    EXPECT_EQ(line("AdaptationID=0x95, RecordID= 0xa50").level, 4);
    EXPECT_EQ(service.requests().size(), 1U);
    // 4016 bytes more than that leave room for one id without a value.
    service.setValue(R149, Bytes(4020, 0x11));
    log.clear();
    EXPECT_EQ(readSet(ids), item(A149, Bytes(4020, 0x11)) + item(A255));
    EXPECT_EQ(count("DSA returns success but no space left against RecordID: 0xc5f"), 1U);
    EXPECT_EQ(count("adaptationID[] boundary exceed for RecordId: 0xc5f"), 62U);
}

struct Size {
    std::size_t bytes;
    std::size_t inSet;  ///< bytes that a set's answer has of it
    std::size_t inOne;  ///< bytes that a single answer has of it
};

TEST_F(Reads, CutTheByteCountToSixteenBitsAndNothingElse) {
    bringUp();
    Size const sizes[]{{0, 0, 0},          {1, 1, 1},       {4024, 4024, 4024}, {4025, 4025, 4025},
                       {4026, 4026, 4026}, {4027, 0, 4027}, {4028, 0, 4028},    {4029, 0, 4029},
                       {4030, 0, 4030},    {4031, 0, 4031}, {4032, 0, 4032},    {4033, 0, 0},
                       {65526, 0, 0},      {65530, 0, 0},   {65534, 0, 0},      {65535, 0, 0},
                       {65536, 0, 0},      {65537, 1, 1},   {65540, 4, 4},      {131072, 0, 0}};
    for (Size const& size : sizes) {
        SCOPED_TRACE(size.bytes);
        Bytes value(size.bytes);
        for (std::size_t i = 0; i < value.size(); ++i) value[i] = static_cast<unsigned char>(i * 7 + 1);
        service.setValue(R149, value);
        log.clear();
        EXPECT_EQ(readSet({A149}),
                  item(A149, Bytes(value.begin(), value.begin() + static_cast<long>(size.inSet))));
        auto const cut = static_cast<std::uint16_t>(size.bytes);
        EXPECT_EQ(count("DSA returns success but no space left against RecordID: 0xa50"),
                  cut > 4026 ? 1U : 0U);
        EXPECT_EQ(count("DSA returns success but no diagnosticData against RecordID: 0xa50"),
                  size.bytes == 0 ? 1U : 0U)
            << "a count that is cut to 0 is no empty value";
        log.clear();
        EXPECT_EQ(readOne(A149),
                  response(A149, 43, Bytes(value.begin(), value.begin() + static_cast<long>(size.inOne))));
        EXPECT_EQ(count("DSA returns empty data"), size.bytes == 0 ? 1U : 0U);
        EXPECT_EQ(count("lenofResp=" + std::to_string(cut)), size.bytes == 0 ? 0U : 1U);
        EXPECT_EQ(count("No space left for DSA data"), cut > 4032 ? 1U : 0U);
    }
}

TEST_F(Reads, OfOneValueAreAnsweredInEveryCase) {
    bringUp();
    service.setValue(R149, {5, 6});
    service.setValue(R255, {5, 6});
    service.setResult(R255, 17);
    EXPECT_EQ(readOne(A149), response(A149, 43, {5, 6}));
    EXPECT_EQ(line("Received data from DDDS server.").level, 4);
    EXPECT_EQ(line("lenofResp=2").level, 4);
    EXPECT_EQ(line(">>> DIAGMGR_GET_ADAPTATION_RESP").level, 4);
    EXPECT_EQ(readOne(A255), response(A255, 43));
    EXPECT_EQ(line("DSA returns error: 17").level, 4) << "detail goes out as information";
    EXPECT_EQ(readOne(A312), response(A312, 43));
    EXPECT_EQ(line("DSA returns empty data").level, 4);
    EXPECT_EQ(readOne(105), response(105, 43));
    EXPECT_EQ(line("Invalid AdaptationID (AdaptationID=0x69) received, call to DSA ignored").level, 4);
    service.behave(silent());
    setAnswerWait(SHORT);
    EXPECT_EQ(readOne(A149), response(A149, 43));
    EXPECT_EQ(line("m_proxy->getDiagnosticDataValues() timed out!").level, 2);
}

TEST_F(Reads, TellADirectCallerHowTheyEnded) {
    bringUp();
    auto& sut = listener();
    tDiagmgrGetAdaptationsetReqds set{};
    set.length = 1;
    set.adaptationIds[0] = tDiagMgrAdaptationID{A149};
    EXPECT_EQ(sut.handleGetAdaptationReq({tDiagMgrAdaptationID{A149}, 1}), eValOk);
    EXPECT_EQ(sut.handleGetAdaptationReq({tDiagMgrAdaptationID{105}, 1}), eValRefused);
    EXPECT_EQ(sut.handleGetDiagnosticDataValues(set, true), eValOk);
    EXPECT_EQ(sut.handleGetDiagnosticDataValues(set, false), eValSendFailed);
    jvm.failAlways("NewByteArray");
    EXPECT_EQ(sut.handleGetAdaptationReq({tDiagMgrAdaptationID{A149}, 1}), eValSendFailed);
    EXPECT_EQ(sut.handleGetAdaptationReq({tDiagMgrAdaptationID{105}, 1}), eValSendFailed);
    EXPECT_EQ(sut.handleGetDiagnosticDataValues(set, true), eValSendFailed);
    EXPECT_EQ(count("Sending to Java failed!"), 3U);
    jvm.failNothing();
    service.behave([](std::uint32_t, DataService::Reply const& reply) { DataService::send(reply, 1, {}); });
    EXPECT_EQ(sut.handleGetAdaptationReq({tDiagMgrAdaptationID{A149}, 1}), eValException);
    EXPECT_EQ(sut.handleGetDiagnosticDataValues(set, true), eValOk) << "answered with the bare id";
    service.behave(silent());
    setAnswerWait(SHORT);
    EXPECT_EQ(sut.handleGetAdaptationReq({tDiagMgrAdaptationID{A149}, 1}), eValOk)
        << "timed out, and answered";
    EXPECT_EQ(sut.handleGetDiagnosticDataValues(set, true), eValOk);
}

TEST_F(Reads, ThatEndWithAnErrorOrGarbageAreLoggedAndAnsweredLikeThoseWithoutAnAnswer) {
    bringUp();
    service.setValue(R255, {7});
    struct {
        unsigned char returnCode;
        Bytes payload;
    } const replies[]{
        {1, {}},     {2, {0x13}},          {0x80, {}},        {0, {}},
        {0, {0, 0}}, {0, {0, 0, 0, 9, 1}}, {0, {0, 0, 0, 0}}, {0, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}},
    };
    for (auto const& one : replies) {
        SCOPED_TRACE(testing::PrintToString(one.payload) + " code " + std::to_string(one.returnCode));
        service.behave([this, one](std::uint32_t record, DataService::Reply const& reply) {
            if (record == R255) return service.answer(record, reply);
            DataService::send(reply, one.returnCode, one.payload);
        });
        log.clear();
        EXPECT_EQ(readOne(A149), response(A149, 43));
        ASSERT_TRUE(awaitLine("Message sent to Java"));
        EXPECT_THAT(log.errors(), ElementsAre(Not(IsEmpty()), "Message sent to Java"));
        std::string const what = log.errors().front();
        log.clear();
        EXPECT_EQ(readSet({A149, A255, A312, 105}), u32(A149) + item(A255, {7}) + u32(A312) + item(105));
        ASSERT_TRUE(awaitLine("Message sent to Java"));
        EXPECT_THAT(log.errors(), ElementsAre(what, what, "Message sent to Java"));
    }
}

TEST_F(Reads, TakeTheFirstOfTwoReplies) {
    bringUp();
    service.behave([](std::uint32_t, DataService::Reply const& reply) {
        DataService::answerWith(reply, {1});
        DataService::answerWith(reply, {2});
        DataService::send(reply, 1, {});
    });
    EXPECT_EQ(readOne(A149), response(A149, 43, {1}));
    EXPECT_EQ(readSet({A149, A149}), item(A149, {1}) + item(A149, {1}));
}

TEST_F(Reads, DropAReplyThatComesTooLateAndTakeTheNext) {
    bringUp();
    DataService::Reply late;
    Gate begun;
    service.behave([&](std::uint32_t, DataService::Reply const& reply) {
        late = reply;
        begun.open();
    });
    setAnswerWait(SHORT);
    EXPECT_EQ(readOne(A149), response(A149, 43));
    ASSERT_TRUE(begun.wait());
    setAnswerWait(PATIENCE);
    service.behave([&](std::uint32_t, DataService::Reply const& reply) {
        DataService::answerWith(late, {1});
        DataService::answerWith(reply, {2});
    });
    EXPECT_EQ(readOne(A149), response(A149, 43, {2})) << "not the value of the read before";
    service.withdraw();  // what it does uses what this test holds
    late = nullptr;
}

// Whoever wins, there is one answer, and it holds the value or nothing.
TEST_F(Reads, SurviveRepliesThatComeJustAsTheWaitEnds) {
    bringUp();
    std::atomic<int> round{0};
    service.behave([&](std::uint32_t, DataService::Reply const& reply) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::microseconds(4000 + 20 * round++);
        while (std::chrono::steady_clock::now() < end) std::this_thread::yield();
        DataService::answerWith(reply, {9});
    });
    setAnswerWait(milliseconds(5));
    for (int i = 0; i < 60; ++i) {
        EXPECT_THAT(readOne(A149), testing::AnyOf(response(A149, 43, {9}), response(A149, 43)));
    }
    service.withdraw();
}

TEST_F(Reads, GoOneAtATime) {
    bringUp();
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    service.behave([&](std::uint32_t record, DataService::Reply const& reply) {
        int const now = ++inside;
        int seen = most;
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        std::this_thread::yield();
        --inside;
        service.answer(record, reply);
    });
    for (int i = 0; i < 10; ++i) {
        deliver(GET_ADAPTATION_REQ, request(A149, 1));
        deliver(GET_ADAPTATIONSET_REQ, setRequest(2, {A149, A255}));
    }
    awaitMessages(GET_ADAPTATION_RESP, 10);
    awaitMessages(GET_ADAPTATIONSET_RESP, 10);
    service.withdraw();
    EXPECT_EQ(most, 1);
}

TEST_F(Reads, OfALostServiceEndAtOnceAndTheNextFindNobody) {
    bringUp();
    service.behave(silent());
    setAnswerWait(std::chrono::minutes(10));
    deliver(GET_ADAPTATION_REQ, request(A149, 1));
    deliver(GET_ADAPTATIONSET_REQ, setRequest(2, {A149, A255}));
    ASSERT_TRUE(service.awaitRequests(1));
    service.withdraw();
    // The one in progress ends with an exception; those that waited find no service.
    EXPECT_EQ(awaitMessage(GET_ADAPTATION_RESP), response(A149, 1));
    EXPECT_EQ(awaitMessage(GET_ADAPTATIONSET_RESP), setResponse(2, u32(A149) + u32(A255)));
    ASSERT_TRUE(awaitLine("Service lost"));
    EXPECT_EQ(deliver(GET_ADAPTATIONSET_REQ, setRequest(3, {A149})), eValServiceNotAvailable);
}

TEST_F(Reads, OfASetWhoseServiceWasLostBeforeItsTurnAreABareListOfIds) {
    bringUp();
    Gate begun;
    service.behave([&](std::uint32_t, DataService::Reply const&) { begun.open(); });
    setAnswerWait(std::chrono::minutes(10));
    deliver(GET_ADAPTATION_REQ, request(A312, 1));
    ASSERT_TRUE(begun.wait());
    deliver(GET_ADAPTATIONSET_REQ, setRequest(2, {A149, A255, A316}));
    ASSERT_TRUE(awaitLine("AdaptationID=0x95, RecordID= 0xa50"));
    service.withdraw();
    EXPECT_EQ(awaitMessage(GET_ADAPTATIONSET_RESP), setResponse(2, u32(A149) + u32(A255) + u32(A316)));
    EXPECT_EQ(count("Service not available!"), 3U);
}

}  // namespace
}  // namespace client_test
