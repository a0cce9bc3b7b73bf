// The client's life: found, lost, found again, and the end with work under way.
#include "client/Listener.h"

#include <atomic>
#include <fstream>
#include <future>
#include <iterator>

#include "binding/testing/Await.h"
#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using binding_testing::Gate;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvg::val;
using State = ac::com::cpp_binding::proxy::Subscription_state;

class ListenerTest : public ClientTest {
protected:
    /// The names of the client's incidents, in order.
    std::vector<std::string> incidents() const {
        std::vector<std::string> names;
        for (auto const& message : log.raw().messages()) {
            for (char const* name :
                 {"Find_service_start", "Find_service_stop", "Field_subscribe", "Field_unsubscribe"}) {
                if (message.text.find("\"1_id\":\"" + std::string(name) + '"') != std::string::npos) {
                    EXPECT_EQ(message.level, ara::log::LogLevel::kInfo);
                    EXPECT_THAT(message.text, testing::HasSubstr("DiagnosticDataDistribution"));
                    names.emplace_back(name);
                }
            }
        }
        return names;
    }

    /// How many pieces of memory this process has mapped.
    static std::size_t mappings() {
        std::ifstream file("/proc/self/maps");
        return static_cast<std::size_t>(
            std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n'));
    }

    std::vector<std::string> textsFrom(std::string const& function) const {
        std::vector<std::string> all;
        for (auto const& line : log.lines()) {
            if (line.function == function && line.prefix.find("Listener<") != std::string::npos)
                all.push_back(line.text);
        }
        return all;
    }
};

TEST_F(ListenerTest, StartsItsSearchAndWaits) {
    registerJava();
    ASSERT_TRUE(awaitLine("Service still unavailable"));
    auto const start = textsFrom("start");
    EXPECT_THAT(start, ElementsAre("",
                                   "StartFindService called with instanceId: "
                                   "DiagnosticDataDistribution_RequiredSomeipServiceInstance"));
    EXPECT_THAT(textsFrom("init"), ElementsAre(""));
    EXPECT_THAT(incidents(), ElementsAre("Find_service_start"));
    EXPECT_THAT(jvm.messages(), IsEmpty());
    EXPECT_FALSE(listener().processed());
}

TEST_F(ListenerTest, FindsTheServiceSubscribesAndReadsTheInitialValues) {
    service.offer();
    service.notify(hashes({7}));  // the value that the field has
    registerJava();
    EXPECT_EQ(awaitMessage(AVAILABILITY), u32(1));
    ASSERT_TRUE(awaitLine("Message not sent to Java"));
    ASSERT_TRUE(service.awaitRequests(4));
    EXPECT_EQ(line("Message not sent to Java").level, 2);
    EXPECT_EQ(line("DataValuesHash.Subscribe()").function, "InitializeField");
    ASSERT_TRUE(awaitLine("name_space is not an adaptation.")) << "the field's value comes to the subscriber";
    std::vector<std::uint32_t> records;
    for (Bytes const& request : service.requests())
        records.push_back(static_cast<std::uint32_t>(request.at(10) << 8U | request.at(11)));
    EXPECT_THAT(records, ElementsAre(R149, R255, R312, R316));
    EXPECT_THAT(incidents(), ElementsAre("Find_service_start", "Field_subscribe"));
    EXPECT_EQ(jvm.messages().size(), 1U) << "the initial values stay here";
}

TEST_F(ListenerTest, FindsAServiceThatIsOfferedLater) {
    registerJava();
    ASSERT_TRUE(awaitLine("Service still unavailable"));
    service.offer();
    ASSERT_TRUE(awaitLine("Message not sent to Java"));
    EXPECT_EQ(deliver(GET_ADAPTATIONSET_REQ, setRequest(1, {})), eValOk);
    awaitMessage(GET_ADAPTATIONSET_RESP);
}

TEST_F(ListenerTest, LostAndFoundItSubscribesAndReadsAgain) {
    service.setValue(R149, {1});
    bringUp();
    for (int round = 0; round < 3; ++round) {
        log.clear();
        service.withdraw();
        ASSERT_TRUE(awaitLine("Service lost"));
        service.forgetRequests();
        service.offer();
        ASSERT_TRUE(awaitLine("Message not sent to Java"));
        // The new subscriber gets the notification of the round before, which the event has kept.
        std::size_t const kept = round == 0 ? 0 : 1;
        ASSERT_TRUE(awaitLine("DONE", kept));
        EXPECT_EQ(service.requests().size(), 4U + 4U * kept);
        EXPECT_EQ(count("DataValuesHash.Subscribe()"), 1U);
        // The new subscription works, and the hashes of the time before are still known.
        service.notify(hashes({0}));
        ASSERT_TRUE(awaitLine("DONE", kept + 1));
    }
    EXPECT_THAT(messages(AVAILABILITY), ElementsAre(u32(1), u32(1), u32(1), u32(1)));
    EXPECT_THAT(messages(ADAPTATION_IND), IsEmpty());
}

TEST_F(ListenerTest, KeepsItsHashesWhileTheServiceIsAway) {
    service.setValue(R149, {1});
    bringUp();
    service.withdraw();
    ASSERT_TRUE(awaitLine("Service lost"));
    // The initial read of the new proxy sees nothing of the first adaptation, so the old hash stands.
    service.setResult(R149, 5);
    log.clear();
    service.offer();
    ASSERT_TRUE(awaitLine("Message not sent to Java"));
    service.setResult(R149, 0);
    service.notify(hashes({0}));
    ASSERT_TRUE(awaitLine("DONE"));
    EXPECT_THAT(messages(ADAPTATION_IND), IsEmpty());
    EXPECT_EQ(count("Nothing changed for AdaptationID=0x95, RecordID= 0xa50"), 1U);
}

TEST_F(ListenerTest, EndsItsSubscriptionItsSearchAndItsThreadsInThisOrder) {
    // Given a thread at work without a lock, and a share of the proxy, which shows its subscription
    bringUp();
    Gate finish;
    std::atomic<bool> finished{false};
    listener().startThread([&] { finished = finish.wait(); });
    auto share = proxy();
    ASSERT_TRUE(await([&] { return share->dataValuesHash.subscriptionState() == State::kSubscribed; }));
    log.clear();
    // When it ends
    auto ended = std::async(std::launch::async, [&] { return java.unregister(); });
    // Then the subscription and the search are over while the thread is still at work
    ASSERT_TRUE(awaitLine("StopFindService"));
    EXPECT_EQ(share->dataValuesHash.subscriptionState(), State::kNotSubscribed);
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_THAT(story(),
                ElementsAre("4 Unsubscribe()", "4 Subscriptions have been removed!", "4 StopFindService"));
    EXPECT_THAT(textsFrom("~Listener"), ElementsAre("Unsubscribe()", "Subscriptions have been removed!"));
    EXPECT_THAT(textsFrom("stopFindService"), ElementsAre("StopFindService"));
    EXPECT_THAT(incidents(), ElementsAre("Field_unsubscribe", "Find_service_stop"));
    // And it has ended once the thread has
    finish.open();
    EXPECT_EQ(ended.get(), 0);
    EXPECT_TRUE(finished);
    share.reset();
    service.withdraw();
    log.clear();
    service.offer();
    EXPECT_EQ(count("Registering service handler"), 0U);
}

// One cache sample: of two changes in quick succession the newest is enough.
TEST_F(ListenerTest, SubscribesWithRoomForOneSampleThatStaysUntilTheNext) {
    bringUp();
    auto const share = proxy();
    for (unsigned const nameSpace : {7U, 8U}) {
        service.notify(hashes({static_cast<int>(nameSpace)}));
        ASSERT_TRUE(await([&] {
            auto const samples = share->dataValuesHash.cachedSamples();
            return !samples.empty() && samples.back()->at(0).name_space == nameSpace;
        }));
    }
    EXPECT_EQ(share->dataValuesHash.cachedSamples().size(), 1U);
    EXPECT_FALSE(share->dataValuesHash.update()) << "nothing new";
    EXPECT_EQ(share->dataValuesHash.cachedSamples().size(), 1U);
}

TEST_F(ListenerTest, LeavesNotificationsAloneOnceItIsToEnd) {
    bringUp();
    auto const share = proxy();
    listener().destroy();
    for (int i = 0; i < 5; ++i) {
        service.notify(hashes({7}));
        EXPECT_TRUE(await([&] { return share->dataValuesHash.update(); })) << "the handler leaves it there";
    }
    EXPECT_THAT(story(), IsEmpty());
}

// A thread that has ended and stays listed keeps its stack, which is two mappings of memory.
TEST_F(ListenerTest, LetsGoOfEachThreadThatHasEnded) {
    constexpr std::size_t ROUNDS = 100;
    bringUp();
    auto const before = mappings();
    service.behave([this](std::uint32_t record, DataService::Reply const& reply) {
        if (record == R255) return DataService::send(reply, 1, {});  // ends in an exception
        service.answer(record, reply);
    });
    for (std::size_t round = 1; round <= ROUNDS; ++round) {
        deliver(GET_ADAPTATION_REQ, request(A255, 1));
        deliver(GET_ADAPTATIONSET_REQ, setRequest(2, {A149, A255}));
        deliver(600, {});
        listener().cbDataValuesHash({Listener::Hash{0U, {}, {}}});
        awaitMessages(GET_ADAPTATION_RESP, round);
        awaitMessages(GET_ADAPTATIONSET_RESP, round);
        awaitMessages(601, round);
        ASSERT_TRUE(awaitLine("DONE", round));
    }
    EXPECT_TRUE(await([&] { return mappings() < before + ROUNDS; })) << before << " and now " << mappings();
}

TEST_F(ListenerTest, WithoutTheServiceItEndsItsSearchOnly) {
    registerJava();
    ASSERT_TRUE(awaitLine("Service still unavailable"));
    ASSERT_EQ(java.unregister(), 0);
    EXPECT_THAT(textsFrom("~Listener"), IsEmpty());
    EXPECT_THAT(incidents(), ElementsAre("Find_service_start", "Find_service_stop"));
}

TEST_F(ListenerTest, NeverStartedItEndsQuietly) {
    auto sut = Listener::create();
    sut->init("5");
    log.clear();
    sut.reset();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ListenerTest, RunWithoutTheServiceSaysSo) {
    auto const sut = Listener::create();
    auto& client = static_cast<Listener&>(*sut);
    client.run();
    EXPECT_EQ(line("Service not available. stop() =  0").function, "run");
    EXPECT_EQ(line("Service not available. stop() =  0").level, 4);
    EXPECT_TRUE(client.processed());
    client.destroy();
    client.run();
    EXPECT_EQ(count("Service not available. stop() =  1"), 1U);
}

TEST_F(ListenerTest, FoundAfterDestroyItNeitherSubscribesNorReads) {
    registerJava();
    ASSERT_TRUE(awaitLine("Service still unavailable"));
    listener().destroy();
    service.offer();
    ASSERT_TRUE(awaitLine("Service not available. stop() =  1"));
    unregisterJava();
    EXPECT_EQ(count("DataValuesHash.Subscribe()"), 0U);
    EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(ListenerTest, EachGenerationHasItsName) {
    registerJava();
    ASSERT_EQ(textsFrom("init").size(), 1U);
    std::string const first = line(
                                  "StartFindService called with instanceId: "
                                  "DiagnosticDataDistribution_RequiredSomeipServiceInstance")
                                  .prefix;
    unregisterJava();
    log.clear();
    registerJava();
    std::string const second = line(
                                   "StartFindService called with instanceId: "
                                   "DiagnosticDataDistribution_RequiredSomeipServiceInstance")
                                   .prefix;
    EXPECT_THAT(first, testing::StartsWith("diagnosticdatadistribution::field::Listener<"));
    EXPECT_THAT(first, testing::EndsWith(">::"));
    EXPECT_NE(first, second);
}

// The read in progress is waited for; those that wait for their turn let go.
TEST_F(ListenerTest, EndsWithReadsUnderWayAfterOneWaitAtMost) {
    bringUp();
    Gate begun;
    service.behave([&](std::uint32_t, DataService::Reply const&) { begun.open(); });
    setAnswerWait(std::chrono::milliseconds(300));
    auto const sent = jvm.messages().size();
    deliver(GET_ADAPTATIONSET_REQ, setRequest(1, std::vector<unsigned>(64, A149)));
    ASSERT_TRUE(begun.wait());
    for (int i = 0; i < 4; ++i) {
        deliver(GET_ADAPTATIONSET_REQ, setRequest(1, std::vector<unsigned>(64, A149)));
        deliver(GET_ADAPTATION_REQ, request(A149, 1));
    }
    unregisterJava();
    service.withdraw();  // what it does uses what this test holds
    EXPECT_LE(count("m_proxy->getDiagnosticDataValues() timed out!"), 1U)
        << "64 ids for each of five requests would have been as many waits";
    EXPECT_EQ(jvm.messages().size(), sent) << "nothing reaches Java any more";
}

TEST_F(ListenerTest, EndsWhileTheServiceIsJustBeingFound) {
    for (int i = 0; i < 30; ++i) {
        registerJava();
        service.offer();
        unregisterJava();
        service.withdraw();
    }
}

TEST_F(ListenerTest, SendsWithinStartWaitForTheBridge) {
    // Found at once, while the registration still holds the send lock: told when it is up.
    service.offer();
    for (int i = 0; i < 5; ++i) {
        registerJava();
        awaitMessages(AVAILABILITY, static_cast<std::size_t>(i) + 1);
        unregisterJava();
    }
}

}  // namespace
}  // namespace client_test
