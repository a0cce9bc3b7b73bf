// The servers of the routines between their clients, over the real runtime, and Java.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include "servers/routine/Servers.h"
#include "servers/routine/test/Routines.h"

namespace routine_test {
namespace {

using ara::log::LogLevel;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace zvg::val;
namespace services = zvg::val::diag_ara::services;

constexpr LogLevel DETAIL = LogLevel::kInfo;
constexpr LogLevel INFO = LogLevel::kInfo;
constexpr std::size_t IN_FLIGHT = 10;  // of one server

class Server : public Vehicle, public testing::WithParamInterface<Routine> {
protected:
    void SetUp() override {
        waitMilliseconds = 0;
        Vehicle::SetUp();
    }

    Routine const& sut = GetParam();

    Ids ids(std::uint32_t transaction, Method method) const { return {sut.id, transaction, control(method)}; }

    /// What a method's client gets if Java says nothing good.
    static std::string failure(Method method) { return method == REQUEST_RESULTS ? "20" : ""; }

    void expectReply(std::shared_ptr<Call> const& call, std::string const& payload) {
        ASSERT_TRUE(call->await());
        EXPECT_EQ(call->returnCode(), 0);
        EXPECT_EQ(hex(call->payload()), payload);
    }

    /// As many as can be in flight, all at Java.
    std::vector<std::shared_ptr<Call>> fill(Method method = REQUEST_RESULTS) {
        std::size_t const before = requests().size();
        std::vector<std::shared_ptr<Call>> calls;
        for (std::size_t i = 0; i < IN_FLIGHT; ++i) calls.push_back(call(sut, method));
        awaitRequest(before + IN_FLIGHT);
        return calls;
    }
};
INSTANTIATE_TEST_SUITE_P(All, Server, testing::ValuesIn(routines()),
                         [](auto const& info) { return info.param.name; });

TEST_P(Server, EachMethodAsksJavaWithTheNextTransaction) {
    std::uint32_t transaction = 0;
    for (int round = 0; round < 2; ++round) {
        for (Method const method : METHODS) {
            auto const made = call(sut, method);
            Ids const asked = awaitRequest(transaction + 1);
            EXPECT_EQ(asked, ids(transaction, method));
            EXPECT_FALSE(made->answered());
            write(response(asked, 1, 2));
            expectReply(made, method == REQUEST_RESULTS ? "12" : "");
            ++transaction;
        }
    }
}

TEST_P(Server, RequestIsThirteenBytesWithoutData) {
    call(sut, STOP);
    awaitRequest(1);
    std::vector<fake::Message> const messages = jvm.messages();
    auto const message = std::find_if(messages.begin(), messages.end(),
                                      [](fake::Message const& one) { return one.id == REQUEST; });
    ASSERT_NE(message, messages.end());
    EXPECT_EQ(message->bytes,
              (Bytes{static_cast<std::uint8_t>(sut.id), static_cast<std::uint8_t>(sut.id >> 8U), 0, 0, 0, 0,
                     0, 0, 0, 0, 0, 0, 2}));
}

TEST_P(Server, TellsWhatItDoes) {
    linesOf("");
    auto const made = call(sut, STOP);
    Ids const asked = awaitRequest(1);
    EXPECT_EQ(respond(sut, response(asked, 1, 2)), eValOk);
    expectReply(made, "");
    EXPECT_THAT(
        linesOf(sut),
        ElementsAre(
            Line{DETAIL, "sendJavaRoutineRequest",
                 "Created response handler for request: .routineId = " + std::to_string(sut.id) +
                     ", .transactionId = 0, .length = 0, .controlParameter = 2, .controlData = {}!"},
            Line{DETAIL, "handleMsg", "<msgId> 'DIAGMGR_JAVA_ROUTINE_RESP' received"},
            Line{INFO, "handleJavaRoutineResponse", "Processing response: " + responseText(asked, 1, 2)}));
}

TEST_P(Server, MetaInformationChangesNothing) {
    // A map of one pair of texts: "a" and "b" with byte order mark and terminator.
    Bytes const meta{0, 0, 0, 18, 0, 0, 0, 5, 0xEF, 0xBB, 0xBF, 'a', 0, 0, 0, 0, 5, 0xEF, 0xBB, 0xBF, 'b', 0};
    std::uint32_t transaction = 0;
    for (Method const method : METHODS) {
        auto const made = call(sut, method, meta);
        EXPECT_EQ(awaitRequest(transaction + 1), ids(transaction, method));
        write(response(ids(transaction, method)));
        expectReply(made, method == REQUEST_RESULTS ? "00" : "");
        ++transaction;
    }
}

TEST_P(Server, ResponseOfAnotherRoutineTransactionOrOperationIsRefused) {
    auto const made = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    linesOf("");
    for (Ids const& foreign : {Ids{sut.id == 308 ? 309U : 308U, asked.transaction, asked.control},
                               Ids{asked.routine, asked.transaction + 1, asked.control},
                               Ids{asked.routine, asked.transaction, control(START)}}) {
        EXPECT_EQ(respond(sut, response(foreign, 1, 1)), eValRefused);
        EXPECT_THAT(linesOf(sut),
                    ElementsAre(Line{DETAIL, "handleMsg", "<msgId> 'DIAGMGR_JAVA_ROUTINE_RESP' received"},
                                Line{INFO, "handleJavaRoutineResponse",
                                     "Ignoring response: " + responseText(foreign, 1, 1)}));
    }
    EXPECT_EQ(respond(sut, response(asked, 2, 1)), eValOk);
    expectReply(made, "21");
}

TEST_P(Server, ResponseWithoutARequestIsRefused) {
    EXPECT_EQ(respond(sut, response(ids(0, START))), eValRefused);
}

TEST_P(Server, SecondResponseIsRefused) {
    auto const made = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    EXPECT_EQ(respond(sut, response(asked, 1, 1)), eValOk);
    EXPECT_EQ(respond(sut, response(asked, 2, 2)), eValRefused);
    expectReply(made, "11");
    EXPECT_EQ(respond(sut, response(asked, 2, 2)), eValRefused);
}

TEST_P(Server, UnreadableResponseLeavesTheRequestWaiting) {
    auto const made = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    Bytes const good = response(asked, 1, 2, {1, 2, 3});
    Bytes truncated(good.begin(), good.end() - 1);
    Bytes trailing = good;
    trailing.push_back(0);
    Bytes const badRoutine = response({1, asked.transaction, asked.control});
    Bytes const badControl = response({asked.routine, asked.transaction, 5});
    Bytes const badStatus = response(asked, 15, 0);
    Bytes const badResult = response(asked, 0, 3);
    Bytes const tooLong = response(asked, 0, 0, Bytes(4084));
    for (Bytes const& bad :
         {truncated, trailing, badRoutine, badControl, badStatus, badResult, tooLong, Bytes{}}) {
        linesOf("");
        EXPECT_EQ(respond(sut, bad), eValBadMessage);
        EXPECT_THAT(linesOf(sut),
                    ElementsAre(Line{DETAIL, "handleMsg", "<msgId> 'DIAGMGR_JAVA_ROUTINE_RESP' received"},
                                Line{LogLevel::kError, "handleJavaRoutineResponse", "Unpack error."}));
    }
    EXPECT_EQ(respond(sut, good), eValOk);
    expectReply(made, "12");
}

TEST_P(Server, LongestResponseIsRead) {
    auto const made = call(sut, REQUEST_RESULTS);
    EXPECT_EQ(respond(sut, response(awaitRequest(1), 1, 2, Bytes(4083, 0xAB))), eValOk);
    expectReply(made, "12");
}

TEST_P(Server, RepliesWithStatusAndResultInOneByte) {
    struct Outcome {
        std::uint8_t status;
        std::uint32_t result;
        std::string reply;
    };
    std::vector<Outcome> outcomes{{16, 0, "20"}, {17, 1, "20"}, {18, 2, "20"}, {19, 2, "20"}};
    for (std::uint8_t status = 0; status < 6; ++status) {
        for (std::uint8_t result = 0; result < 3; ++result) {
            outcomes.push_back({status, result, hex({static_cast<std::uint8_t>(status * 16 + result)})});
        }
    }
    EXPECT_EQ(outcomes.back().reply, "52");
    std::size_t count = 0;
    for (Outcome const& outcome : outcomes) {
        auto const made = call(sut, REQUEST_RESULTS);
        Ids const asked = awaitRequest(++count);
        EXPECT_EQ(respond(sut, response(asked, outcome.status, outcome.result)), eValOk);
        expectReply(made, outcome.reply);
    }
}

TEST_P(Server, VoidMethodsSucceedWhateverTheStatus) {
    std::size_t count = 0;
    for (Method const method : {START, STOP, CANCEL}) {
        auto const made = call(sut, method);
        EXPECT_EQ(respond(sut, response(awaitRequest(++count), 19, 2)), eValOk);
        expectReply(made, "");
    }
}

TEST_P(Server, IgnoresOtherMessages) {
    auto const made = call(sut, REQUEST_RESULTS);
    Bytes const good = response(awaitRequest(1), 1, 1);
    for (int const msgId : {665, 667, 2350, 0, -1, RESPONSE + 0x10000}) {
        linesOf("");
        EXPECT_EQ(respond(sut, good, msgId), eValNotSupported);
        EXPECT_THAT(linesOf(sut),
                    ElementsAre(Line{INFO, "handleMsg", "<msgId> " + std::to_string(msgId) + " ignored."}));
    }
    EXPECT_EQ(respond(sut, good), eValOk);
    expectReply(made, "11");
}

TEST_P(Server, AnswersOutOfOrderReachTheirOwnRequests) {
    auto const calls = fill();
    auto const asked = requests();
    for (std::size_t i = asked.size(); i-- > 0;) {
        write(response(asked[i], static_cast<std::uint8_t>(asked[i].transaction % 6),
                       asked[i].transaction % 3));
    }
    std::vector<std::string> expected;
    std::vector<std::string> replies;
    for (std::size_t i = 0; i < IN_FLIGHT; ++i) {
        expected.push_back(hex({static_cast<std::uint8_t>(i % 6 * 16 + i % 3)}));
        ASSERT_TRUE(calls[i]->await());
        replies.push_back(hex(calls[i]->payload()));
    }
    EXPECT_THAT(replies, testing::UnorderedElementsAreArray(expected)) << "calls are taken side by side";
}

TEST_P(Server, CancelLeavesTheOtherRequestsAlone) {
    auto const started = call(sut, START);
    Ids const start = awaitRequest(1);
    auto const canceled = call(sut, CANCEL);
    EXPECT_EQ(awaitRequest(2), ids(1, CANCEL));
    write(response(ids(1, CANCEL)));
    expectReply(canceled, "");
    EXPECT_FALSE(started->answered());
    EXPECT_EQ(respond(sut, response(start)), eValOk);
    expectReply(started, "");
}

TEST_P(Server, EleventhRequestInFlightIsNotSent) {
    // Given
    auto const calls = fill();
    for (Method const method : METHODS) {
        linesOf("");
        // When
        auto const refused = call(sut, method);
        // Then
        expectReply(refused, failure(method));
        auto const transaction =
            IN_FLIGHT + static_cast<std::size_t>(std::find(std::begin(METHODS), std::end(METHODS), method) -
                                                 std::begin(METHODS));
        EXPECT_THAT(linesOf(sut), Contains(Line{LogLevel::kError, "sendJavaRoutineRequest",
                                                "Too many response handlers, cancel response handler " +
                                                    std::to_string(transaction) + "!"}));
        // And it was never in the list.
        EXPECT_EQ(respond(sut, response(ids(static_cast<std::uint32_t>(transaction), method))), eValRefused);
    }
    EXPECT_EQ(requests().size(), IN_FLIGHT);
    for (auto const& one : calls) EXPECT_FALSE(one->answered());
}

TEST_P(Server, AnsweredRequestMakesRoomForTheNext) {
    auto const calls = fill();
    EXPECT_EQ(respond(sut, response(requests()[4])), eValOk);
    // The reply is out a moment before its handler's thread has ended: until then there is no room.
    ASSERT_TRUE(eventually([&] {
        auto const next = call(sut, START);
        return eventually([&] { return next->answered() || requests().size() > IN_FLIGHT; }) &&
               requests().size() > IN_FLIGHT;
    }));
    EXPECT_EQ(requests().back().control, control(START));
}

TEST_P(Server, RequestsThatTimedOutMakeRoomForTheNext) {
    for (Method const method : METHODS) {
        // Given as many as there is room for, in servers that are new, and so have nothing else to collect
        unregisterJava();
        registerJava();
        waitMilliseconds = 1;
        linesOf("");
        for (auto const& one : fill(method)) expectReply(one, failure(method));
        EXPECT_THAT(linesOf(sut.name + "::"), Contains(Field(&Line::text, HasSubstr(") timed out!"))));
        // When they are not pending any more, then the next is sent
        EXPECT_TRUE(eventually([&] {
            auto const sent = requests().size();
            call(sut, method)->await();
            return requests().size() > sent;
        }));
    }
}

TEST_P(Server, ResponseAfterTheTimeOutDoesNoHarm) {
    // Given
    waitMilliseconds = 1;
    auto const late = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    expectReply(late, "20");
    waitMilliseconds = 0;
    // When it comes while the handler has not been collected yet: it is taken, once, and goes nowhere.
    EXPECT_EQ(respond(sut, response(asked, 1, 1)), eValOk);
    EXPECT_EQ(respond(sut, response(asked, 1, 1)), eValRefused);
    // When it comes after the next request has collected it
    ASSERT_TRUE(eventually([&] {
        auto const handled = respond(sut, response(asked, 1, 1));
        call(sut, START);
        return handled == eValRefused;
    }));
    // Then
    EXPECT_EQ(late->answers(), 1);
    EXPECT_EQ(hex(late->payload()), "20");
}

TEST_P(Server, RequestThatCanNotBeSentIsCancelled) {
    std::uint32_t transaction = 0;
    for (Method const method : METHODS) {
        // Given
        jvm.failAlways("NewByteArray");
        linesOf("");
        // When
        auto const made = call(sut, method);
        // Then
        expectReply(made, failure(method));
        EXPECT_TRUE(eventually([&, lines = std::vector<Line>{}]() mutable {
            auto const more = linesOf(sut.name + "::");
            lines.insert(lines.end(), more.begin(), more.end());
            return std::any_of(lines.begin(), lines.end(), [](Line const& line) {
                return line.level == LogLevel::kError && line.text.find(") cancelled!") != std::string::npos;
            });
        }));
        jvm.failNothing();
        EXPECT_EQ(respond(sut, response(ids(transaction, method))), eValRefused);
        ++transaction;
    }
    // And the ids of those are spent.
    call(sut, START);
    EXPECT_EQ(awaitRequest(1), ids(transaction, START));
}

TEST_P(Server, FailedSendIsTold) {
    jvm.failAlways("NewByteArray");
    linesOf("");
    auto const made = call(sut, START);
    ASSERT_TRUE(made->await());
    EXPECT_THAT(linesOf(sut), Contains(Line{LogLevel::kError, "sendJavaRoutineRequest",
                                            "Sending to Java failed, cancel response handler 0!"}));
}

TEST_P(Server, ResponseInsideTheListenersCallFindsItsHandler) {
    // The quickest Java there is: the answer is in before the request has been sent.
    onRequest = [this](Ids const& asked) { EXPECT_EQ(respond(sut, response(asked, 3, 1)), eValOk); };
    expectReply(call(sut, REQUEST_RESULTS), "31");
    expectReply(call(sut, START), "");
}

TEST_P(Server, WaitsAMinuteForEachMethod) {
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

// Life.

TEST_P(Server, TellsItsStart) {
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

TEST_P(Server, InitNamesItsLines) {
    auto server = makeServer(sut);
    linesOf("");
    server->init("17");
    EXPECT_THAT(linesOf(""), IsEmpty());
    EXPECT_EQ(deliver(*server, 1, {}), eValNotSupported);
    EXPECT_THAT(linesOf(sut.word + "::methods::Server<17>::"),
                ElementsAre(Line{INFO, "handleMsg", "<msgId> 1 ignored."}));
}

TEST_P(Server, WithoutInitOffersNothingAndEndsQuietly) {
    auto server = makeServer(sut);
    linesOf("");
    server->start();
    server.reset();
    EXPECT_THAT(linesOf(""), ElementsAre(Line{DETAIL, "start", ""}));
}

TEST_P(Server, ThatWasNeverStartedEndsQuietly) {
    auto server = makeServer(sut);
    server->init("3");
    server.reset();
}

TEST_P(Server, IsReachedOnlyWhileItIsRegistered) {
    unregisterJava();
    auto const none = call(sut, START);
    ASSERT_TRUE(none->await());
    EXPECT_NE(none->returnCode(), 0);
    registerJava();
    call(sut, START);
    EXPECT_EQ(awaitRequest(1), ids(0, START));
}

TEST_P(Server, TransactionsOfANewRegistrationBeginAtZero) {
    call(sut, START);
    call(sut, START);
    awaitRequest(2);
    unregisterJava();
    registerJava();
    call(sut, STOP);
    EXPECT_EQ(awaitRequest(3), ids(0, STOP));
}

TEST_P(Server, RequestBeforeTheBridgeIsUpIsCancelled) {
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

TEST_P(Server, DestroyedWithRequestsWaitingAnswersThemAll) {
    std::vector<std::pair<Method, std::shared_ptr<Call>>> calls;
    for (std::size_t i = 0; i < IN_FLIGHT; ++i) {
        Method const method = METHODS[i % std::size(METHODS)];
        calls.emplace_back(method, call(sut, method));
    }
    awaitRequest(IN_FLIGHT);
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

TEST_P(Server, RequestWithoutAThreadIsNotAnsweredAndItsTransactionIsSpent) {
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

class Servers : public Vehicle {
protected:
    void SetUp() override {
        waitMilliseconds = 0;
        Vehicle::SetUp();
    }
};

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
