// The life of the routine servers, and how much of a request it takes with it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <system_error>

#include <pthread.h>

#include "servers/routine/Servers.h"
#include "servers/routine/test/ServerTest.h"

namespace routine_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvg::val;
namespace services = zvg::val::diag_ara::services;

class ServerLife : public ServerTest {
protected:
    /// The place of the first message of any log that has all these texts; behind the last if there is none.
    std::size_t firstWith(std::vector<std::string> const& texts) const {
        auto const messages = log.messages();
        return static_cast<std::size_t>(
            std::ranges::find_if(messages,
                                 [&](ara::log::Message const& message) {
                                     return std::ranges::all_of(texts, [&](auto const& text) {
                                         return message.text.find(text) != std::string::npos;
                                     });
                                 }) -
            messages.begin());
    }
};
INSTANTIATE_TEST_SUITE_P(All, ServerLife, testing::ValuesIn(routines()),
                         [](auto const& info) { return info.param.name; });

class Servers : public Vehicle {
protected:
    void SetUp() override {
        waitMilliseconds = 0;
        Vehicle::SetUp();
    }
};

TEST_F(Servers, WaitAMinuteForEachMethod) {
    constexpr std::chrono::milliseconds MINUTE{60000};
    auto const check = [&]<class Server>() {
        EXPECT_EQ(Server::CFG_ROUTINE_START_RESPONSE_TIMEOUT, MINUTE);
        EXPECT_EQ(Server::CFG_ROUTINE_STOP_RESPONSE_TIMEOUT, MINUTE);
        EXPECT_EQ(Server::CFG_ROUTINE_REQUESTRESULTS_RESPONSE_TIMEOUT, MINUTE);
        EXPECT_EQ(Server::CFG_ROUTINE_CANCEL_RESPONSE_TIMEOUT, MINUTE);
    };
    check.operator()<services::rebuildparameters::methods::Server>();
    check.operator()<services::initializeparameters::methods::Server>();
    check.operator()<services::transferparametersfromatn::methods::Server>();
    check.operator()<services::storeparametersinatn::methods::Server>();
}

TEST_P(ServerLife, TellsItsStart) {
    unregisterJava();
    linesOf("");
    registerJava();
    EXPECT_THAT(linesOf(sut),
                ElementsAre(Line{DETAIL, "start", ""}, Line{DETAIL, "start", "OfferService()"}));
}

/// A server of the test's own beside the registered ones.
std::unique_ptr<services::Runnable> makeServer(Routine const& routine) {
    switch (routine.id) {
        case 311:
            return services::rebuildparameters::methods::Server::create();
        case 310:
            return services::initializeparameters::methods::Server::create();
        case 309:
            return services::transferparametersfromatn::methods::Server::create();
        default:
            return services::storeparametersinatn::methods::Server::create();
    }
}

TEST_P(ServerLife, InitNamesItsLines) {
    auto server = makeServer(sut);
    linesOf("");
    server->init("17");
    EXPECT_THAT(linesOf(""), IsEmpty());
    EXPECT_EQ(deliver(*server, 1, {}), eValNotSupported);
    EXPECT_THAT(linesOf(sut.word + "::methods::Server<17>::"),
                ElementsAre(Line{INFO, "handleMsg", "<msgId> 1 ignored."}));
}

TEST_P(ServerLife, TakesCallsSideBySide) {
    auto server = makeServer(sut);
    log.clear();
    server->init("1");
    EXPECT_EQ(firstWith({"Service_skeleton_constructed", "\"parallel\""}), firstWith({sut.interface}));
}

TEST_P(ServerLife, WithdrawsItsOfferBeforeItCancelsItsRequests) {
    // Given
    auto const calls = fill();
    log.clear();
    // When
    unregisterJava();
    // Then
    std::size_t const withdrawn = firstWith({"Stop_offer_service", sut.interface});
    std::size_t const canceled = firstWith({sut.name + "::RequestResultsResponseHandler::", "cancelled!"});
    ASSERT_LT(canceled, log.messages().size());
    EXPECT_LT(withdrawn, canceled);
}

TEST_P(ServerLife, WithoutInitOffersNothingAndEndsQuietly) {
    auto server = makeServer(sut);
    linesOf("");
    server->start();
    server.reset();
    EXPECT_THAT(linesOf(""), ElementsAre(Line{DETAIL, "start", ""}));
}

TEST_P(ServerLife, ThatWasNeverStartedEndsQuietly) {
    auto server = makeServer(sut);
    server->init("3");
    server.reset();
}

TEST_P(ServerLife, IsReachedOnlyWhileItIsRegistered) {
    unregisterJava();
    auto const none = call(sut, START);
    ASSERT_TRUE(none->await());
    EXPECT_NE(none->returnCode(), 0);
    registerJava();
    call(sut, START);
    EXPECT_EQ(awaitRequest(1), ids(0, START));
}

TEST_P(ServerLife, TransactionsOfANewRegistrationBeginAtZero) {
    call(sut, START);
    call(sut, START);
    awaitRequest(2);
    unregisterJava();
    registerJava();
    call(sut, STOP);
    EXPECT_EQ(awaitRequest(3), ids(0, STOP));
}

TEST_F(Servers, CancelARequestBeforeTheBridgeIsUp) {
    // Given
    unregisterJava();
    services::initializeparameters::methods::Server server;
    server.init("0");
    // When
    auto started = server.Start({});
    auto asked = server.RequestResults({});
    // Then
    ASSERT_EQ(asked.wait_for(PATIENCE), std::future_status::ready);
    EXPECT_EQ(asked.get().field1, 0x20);
    ASSERT_EQ(started.wait_for(PATIENCE), std::future_status::ready);
    started.get();
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_P(ServerLife, DestroyedWithRequestsWaitingAnswersThemAll) {
    auto const calls = fillWithAll();
    unregisterJava();
    for (auto const& [method, one] : calls) expectReply(one, failure(method));
}

/// Makes threads impossible: their stack would be larger than all memory. Those of handlers, that is.
class NoThreads {
public:
    NoThreads() {
        pthread_attr_init(&m_before);
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 46U);
        m_refused = pthread_setattr_default_np(&huge) == 0;
        pthread_attr_destroy(&huge);
    }
    ~NoThreads() {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    bool refused() const { return m_refused; }

private:
    pthread_attr_t m_before;
    bool m_refused = false;
};

TEST_F(Servers, AnswerNoRequestThatGetsNoThreadAndSpendItsTransaction) {
    // Given
    services::initializeparameters::methods::Server server;
    server.init("0");
    {
        NoThreads const none;
        ASSERT_TRUE(none.refused());
        // When
        EXPECT_THROW(server.Start({}), std::system_error);
    }
    EXPECT_THAT(requests(), IsEmpty());
    // Then the next one works.
    auto started = server.Start({});
    EXPECT_EQ(awaitRequest(1).transaction, 1U);
    EXPECT_EQ(deliver(server, RESPONSE, response({310, 1, 1})), eValOk);
    ASSERT_EQ(started.wait_for(PATIENCE), std::future_status::ready);
}

TEST_F(Servers, TakeOnlyTheResponseToThemselves) {
    // Given the same transaction at all four
    std::vector<std::shared_ptr<Call>> calls;
    for (Routine const& routine : routines()) calls.push_back(call(routine, REQUEST_RESULTS));
    awaitRequest(routines().size());
    // When one is answered
    for (std::size_t i = 0; i < routines().size(); ++i) {
        linesOf("");
        write(response({routines()[i].id, 0, 3}, static_cast<std::uint8_t>(i), 1));
        // Then
        ASSERT_TRUE(calls[i]->await());
        EXPECT_EQ(hex(calls[i]->payload()), hex({static_cast<std::uint8_t>(i * 16 + 1)}));
        for (std::size_t j = i + 1; j < routines().size(); ++j) EXPECT_FALSE(calls[j]->answered());
    }
}

TEST_F(Servers, CountTheirTransactionsApart) {
    std::size_t count = 0;
    for (std::uint32_t round = 0; round < 2; ++round) {
        for (Routine const& routine : routines()) {
            call(routine, START);
            EXPECT_EQ(awaitRequest(++count), (Ids{routine.id, round, 1}));
        }
    }
}

TEST_F(Servers, UnregisterEndsFortyWaitingRequestsAtOnce) {
    // Given
    std::vector<std::shared_ptr<Call>> calls;
    for (Routine const& routine : routines()) {
        for (std::size_t i = 0; i < IN_FLIGHT; ++i) calls.push_back(call(routine, REQUEST_RESULTS));
    }
    awaitRequest(calls.size());
    // When
    auto const begin = std::chrono::steady_clock::now();
    unregisterJava();
    std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - begin;
    // Then: far from the minute that each of them might have waited
    std::printf("unregister with %zu requests in flight took %.1f ms\n", calls.size(), took.count());
    RecordProperty("unregister_ms", std::to_string(took.count()));
    EXPECT_LT(took, PATIENCE);
    for (auto const& one : calls) {
        ASSERT_TRUE(one->await());
        EXPECT_EQ(one->returnCode(), 0);
        EXPECT_EQ(hex(one->payload()), "20");
    }
}

}  // namespace
}  // namespace routine_test
