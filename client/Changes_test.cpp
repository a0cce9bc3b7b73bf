// What a notification of the field leads to.
#include "binding/testing/Await.h"
#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using binding_testing::Gate;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using namespace zvg::val;

using Hash = Listener::Hash;

Bytes indication(unsigned id) {
    return u32(id) + Bytes{0};
}

class Changes : public ClientTest {
protected:
    /// One notification about adaptations, and its scan to the end.
    void scan() {
        auto const before = count("DONE");
        service.notify(hashes({0}));
        ASSERT_TRUE(awaitLine("DONE", before + 1));
    }

    /// What Java has received since the last call.
    std::vector<Bytes> newIndications() {
        auto const all = messages(ADAPTATION_IND);
        std::vector<Bytes> fresh(all.begin() + static_cast<long>(m_taken), all.end());
        m_taken = all.size();
        return fresh;
    }

private:
    std::size_t m_taken = 0;
};

TEST_F(Changes, AreToldToJavaById) {
    bringUp();
    service.setValue(R312, {1});
    service.setValue(R149, {2});
    scan();
    EXPECT_THAT(messages(ADAPTATION_IND), ElementsAre(indication(A149), indication(A312)));
    EXPECT_EQ(line("Sent DIAGMGR_ADAPTATION_IND AdaptationID=0x95, RecordID= 0xa50").level, 4);
    EXPECT_EQ(count("Sent DIAGMGR_ADAPTATION_IND AdaptationID=0x138, RecordID= 0x1a5"), 1U);
    EXPECT_EQ(line("Nothing changed for AdaptationID=0xff, RecordID= 0xc5f").level, 4);
    EXPECT_EQ(count("Nothing changed for AdaptationID=0x13c, RecordID= 0x5cc"), 1U);
    EXPECT_EQ(count("m_proxy->getDiagnosticDataValues() ready."), 4U);
    EXPECT_EQ(line("DONE").level, 4);
}

TEST_F(Changes, OfTheHashInTheNotificationAloneAreNone) {
    bringUp();
    scan();
    scan();
    EXPECT_THAT(messages(ADAPTATION_IND), IsEmpty());
}

TEST_F(Changes, AreToldOnceEach) {
    bringUp();
    service.setValue(R149, {2});
    scan();
    scan();
    service.setValue(R149, {3});
    scan();
    EXPECT_THAT(messages(ADAPTATION_IND), ElementsAre(indication(A149), indication(A149)));
}

TEST_F(Changes, ThatASetRequestHasSeenAreNoNewsAndThoseOfOneRequestAre) {
    bringUp();
    service.setValue(R149, {2});
    deliver(GET_ADAPTATIONSET_REQ, setRequest(1, {A149}));
    awaitMessage(GET_ADAPTATIONSET_RESP);
    service.setValue(R255, {2});
    deliver(GET_ADAPTATION_REQ, request(A255, 1));
    awaitMessage(GET_ADAPTATION_RESP);
    scan();
    EXPECT_THAT(messages(ADAPTATION_IND), ElementsAre(indication(A255)));
}

TEST_F(Changes, ThatCouldNotBeReadInitiallyCountAsNews) {
    service.setResult(R149, 5);
    bringUp();
    service.setResult(R149, 0);
    scan();
    EXPECT_THAT(messages(ADAPTATION_IND), ElementsAre(indication(A149)));
}

TEST_F(Changes, ThatJavaCouldNotBeToldAreNotRepeated) {
    bringUp();
    service.setValue(R149, {2});
    service.setValue(R255, {2});
    jvm.fail("NewByteArray");
    scan();
    EXPECT_THAT(messages(ADAPTATION_IND), ElementsAre(indication(A255))) << "the second is sent all the same";
    EXPECT_EQ(count("Sending to Java failed!"), 1U);
    scan();
    EXPECT_EQ(messages(ADAPTATION_IND).size(), 1U);
}

TEST_F(Changes, OfRecordsThatTheServiceRefusesOrIsSilentAboutAreNotTold) {
    bringUp();
    service.setValue(R149, {1});
    service.setValue(R255, {1});
    service.setValue(R312, {1});
    service.setResult(R149, 9);
    service.behave([this](std::uint32_t record, DataService::Reply const& reply) {
        if (record != R255) service.answer(record, reply);
    });
    setAnswerWait(std::chrono::milliseconds(500));
    scan();
    EXPECT_THAT(messages(ADAPTATION_IND), ElementsAre(indication(A312)));
    EXPECT_EQ(line("DSA returns error: 9 against RecordID: 0xa50").level, 2);
    EXPECT_EQ(line("m_proxy->getDiagnosticDataValues() timed out!").level, 2);
}

TEST_F(Changes, AreToldAlsoIfTheReadOfAnotherRecordEndsWithAnErrorOrGarbage) {
    bringUp();
    unsigned char next = 0;
    for (std::uint32_t const broken : {R149, R255, R312, R316}) {
        for (unsigned char const code : Bytes{1, 0}) {  // an error, and an answer without bytes
            SCOPED_TRACE(std::to_string(broken) + " code " + std::to_string(code));
            service.setValue(R149, {++next});
            service.setValue(R316, {next});
            service.behave([this, broken, code](std::uint32_t record, DataService::Reply const& reply) {
                if (record == broken) return DataService::send(reply, code, {});
                service.answer(record, reply);
            });
            log.clear();
            scan();
            std::vector<Bytes> expected;
            if (broken != R149) expected.push_back(indication(A149));
            if (broken != R316) expected.push_back(indication(A316));
            EXPECT_EQ(newIndications(), expected);
            ASSERT_THAT(log.errors(), ElementsAre(Not(IsEmpty()))) << "what() of the exception";
            EXPECT_EQ(line(log.errors().front()).function, "sendChangedAdaptToJava");
            // What could not be read is still news.
            service.behave({});
            scan();
            std::vector<Bytes> late;
            if (broken == R149) late.push_back(indication(A149));
            if (broken == R316) late.push_back(indication(A316));
            EXPECT_EQ(newIndications(), late);
        }
    }
}

TEST_F(Changes, OfAnEmptyNotificationAreNone) {
    bringUp();
    service.notify(hashes({}));
    ASSERT_TRUE(awaitLine("Received AUTOSAR message contains empty notification!"));
    EXPECT_EQ(listener().cbDataValuesHash({}), eValNotReady);
    EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(Changes, OfAnElementWithoutNameSpaceAreNone) {
    bringUp();
    service.notify(hashes({NONE}));
    ASSERT_TRUE(awaitLine("name_space element has no value."));
    EXPECT_EQ(listener().cbDataValuesHash({Hash{}}), eValNotReady);
    EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(Changes, OfAnotherNameSpaceAreNone) {
    bringUp();
    service.notify(hashes({1}));
    ASSERT_TRUE(awaitLine("name_space is not an adaptation."));
    EXPECT_EQ(listener().cbDataValuesHash({Hash{1U, {}, {}}}), eValRefused);
    EXPECT_EQ(listener().cbDataValuesHash({Hash{4294967295U, {}, {}}}), eValRefused);
    EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(Changes, AreLookedForOnceForEachElementOfTheAdaptations) {
    bringUp();
    service.setValue(R149, {1});
    service.notify(hashes({1, 0, NONE, 0, 7}));
    ASSERT_TRUE(awaitLine("DONE", 2));
    EXPECT_EQ(service.requests().size(), 8U);
    // Side by side: the second finds nothing new unless its look came before the first had remembered.
    EXPECT_THAT(messages(ADAPTATION_IND).size(), testing::AllOf(testing::Ge(1U), testing::Le(2U)));
    EXPECT_EQ(count("name_space is not an adaptation."), 2U);
    EXPECT_EQ(count("name_space element has no value."), 1U);
}

TEST_F(Changes, ResultIsThatOfTheLastElement) {
    bringUp();
    Hash const adaptation{0U, {}, {}};
    Hash const other{3U, {}, {}};
    EXPECT_EQ(listener().cbDataValuesHash({adaptation, other}), eValRefused);
    EXPECT_EQ(listener().cbDataValuesHash({other, adaptation}), eValOk);
    EXPECT_EQ(listener().cbDataValuesHash({adaptation, Hash{}}), eValNotReady);
    ASSERT_TRUE(awaitLine("DONE", 3));
}

TEST_F(Changes, AreNotLookedForOnceTheComponentIsToEnd) {
    bringUp();
    listener().destroy();
    EXPECT_EQ(listener().cbDataValuesHash({Hash{0U, {}, {}}}), eValOk);
    service.notify(hashes({0}));
    unregisterJava();
    EXPECT_THAT(service.requests(), IsEmpty());
    EXPECT_EQ(count("DONE"), 0U);
}

TEST_F(Changes, NotificationIsLoggedUnderBothNamesOfTheFieldsHandler) {
    bringUp();
    service.notify(hashes({7}));
    ASSERT_TRUE(awaitLine("name_space is not an adaptation."));
    std::vector<std::string> functions;
    for (test::Line const& one : log.lines()) {
        if (one.text != "data sample: DT_dataValuesHash_vector=[{name_space=7,hashValue=17}]") continue;
        functions.push_back(one.function);
        EXPECT_EQ(one.level, 4) << "detail goes out as information";
        EXPECT_THAT(one.prefix, testing::StartsWith("diagnosticdatadistribution::field::Listener<"));
    }
    EXPECT_THAT(functions, ElementsAre("setCallback", "operator()"));
}

TEST_F(Changes, NotificationThatIsNoFieldValueIsDropped) {
    bringUp();
    service.notify({1, 2, 3});
    service.notify({0, 0, 0, 9, 1});
    scan();
    EXPECT_EQ(service.requests().size(), 4U);
}

}  // namespace
}  // namespace client_test
