// More calls than a process can handle: what waits is bounded, is dropped with its connection, and takes
// turns.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/com/runtime/Counters.h"
#include "platform/com/someip/Frame.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Held_service.h"
#include "platform/com/testing/Stack_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using ::testing::Each;
using ::testing::SizeIs;

constexpr std::size_t TURNS = 8;  // of one service in its processor

class Overload_test : public Stack_test {
protected:
    Overload_test() : Stack_test({}) {}
    ~Overload_test() override { m_service.reset(); }

    /// Offers the service with these bounds on what waits.
    void serve(std::size_t calls, std::size_t bytes) {
        Deployment deployment = fakeDeployment(SERVER, SERVER, {});
        deployment.limits.queuedCalls = calls;
        deployment.limits.queuedBytes = bytes;
        m_server = std::make_unique<Fake_process>(m_clock, m_network, SERVER, deployment);
        m_service = std::make_unique<Held_service>(*m_server, OVER_TCP);
    }
    void serve() { serve(Limits{}.queuedCalls, Limits{}.queuedBytes); }
    /// Begins that many calls, and lets happen what follows from it.
    void run(std::size_t turns) {
        m_service->processor().run(turns);
        m_clock.settle();
    }
    void runAll() {
        while (m_service->processor().size() != 0) run(1);
    }
    std::size_t taken() {
        m_clock.settle();
        return static_cast<std::size_t>(counters().sessions.load());
    }

    Endpoint const m_remote{Transport::tcp, {SERVER, FAKE_PORT}};
    Fake_peer m_peer{m_clock, m_network, OTHER};
    std::unique_ptr<Held_service> m_service;
};

TEST_F(Overload_test, CallsOfABrokenConnectionThatHaveNotBegunAreDroppedAtOnce) {
    serve();
    Fake_caller broken(m_peer, m_remote);
    Fake_caller whole(m_peer, m_remote);
    broken.call(FAKE_ECHO, 112);
    ASSERT_EQ(taken(), 112U);
    whole.call(FAKE_ECHO, 3);
    ASSERT_EQ(taken(), 115U);

    broken.channel().close();
    ASSERT_TRUE(eventually([&] { return taken() == 115U; }));
    run(2);  // one of each; by the answer the server notices that the peer is gone

    ASSERT_TRUE(eventually([&] { return taken() == 2U; })) << "the other peer's calls alone";
    runAll();
    EXPECT_EQ(m_service->echoes(), 4);
    EXPECT_THAT(whole.answers(), SizeIs(3));
}

TEST_F(Overload_test, CallsOfAResetConnectionNeverBegin) {
    serve();
    Fake_caller caller(m_peer, m_remote);
    caller.call(FAKE_ECHO, 112);
    ASSERT_EQ(taken(), 112U);

    m_network.disconnect();

    EXPECT_EQ(taken(), 0U);
    runAll();
    EXPECT_EQ(m_service->echoes(), 0);
}

TEST_F(Overload_test, ReconnectingPeersLeaveNothingBehind) {
    serve();
    for (int round = 0; round < 50; ++round) {
        Fake_caller caller(m_peer, m_remote);
        caller.call(FAKE_ECHO, 112);
        ASSERT_EQ(taken(), 112U);
        m_network.disconnect();
        ASSERT_EQ(taken(), 0U);
        ASSERT_LE(m_service->processor().size(), TURNS);
    }
    Fake_caller next(m_peer, m_remote);
    next.call(FAKE_ECHO, 1);
    ASSERT_EQ(taken(), 1U);
    runAll();
    EXPECT_THAT(next.answers(), SizeIs(1));
    EXPECT_EQ(m_service->echoes(), 1);
}

TEST_F(Overload_test, StopRefusesWhatWaitsAndEntersNoHandler) {
    serve();
    Fake_caller caller(m_peer, m_remote);
    caller.call(FAKE_ECHO, 100);
    ASSERT_EQ(taken(), 100U);
    run(3);

    m_service->dispatcher().stop();

    EXPECT_EQ(m_service->echoes(), 3);
    EXPECT_EQ(taken(), 0U);
    auto const answers = caller.answers();
    ASSERT_THAT(answers, SizeIs(100));
    EXPECT_THAT(std::vector(answers.begin() + 3, answers.end()), Each(someip::E_NOT_READY));
    m_service->dispatcher().start();
    caller.call(FAKE_ECHO, 20);
    ASSERT_EQ(taken(), 20U);
    runAll();
    EXPECT_THAT(caller.answers(), SizeIs(120));
    EXPECT_EQ(m_service->echoes(), 23);
}

TEST_F(Overload_test, AServiceHasFewTurnsInItsProcessorHoweverManyCallsWait) {
    serve();
    Fake_caller caller(m_peer, m_remote);
    caller.call(FAKE_ECHO, 1);
    ASSERT_EQ(taken(), 1U);
    EXPECT_EQ(m_service->processor().size(), 1U) << "one for each call";
    caller.call(FAKE_ECHO, 99);
    ASSERT_EQ(taken(), 100U);

    EXPECT_EQ(m_service->processor().size(), TURNS);
    run(1);
    EXPECT_EQ(m_service->processor().size(), TURNS) << "the next one follows";
    runAll();
    EXPECT_EQ(m_service->echoes(), 100);
}

TEST_F(Overload_test, CallsOfSeveralPeersTakeTurns) {
    serve();
    Fake_caller flooder(m_peer, m_remote);
    Fake_caller other(m_peer, m_remote);
    flooder.call(FAKE_ECHO, 100);
    ASSERT_EQ(taken(), 100U);
    other.call(FAKE_ECHO, 2);
    ASSERT_EQ(taken(), 102U);

    run(4);

    EXPECT_THAT(other.answers(), SizeIs(2));
    EXPECT_THAT(flooder.answers(), SizeIs(2));
}

TEST_F(Overload_test, AboveTheBoundOnlyConnectionsWithoutAWaitingCallAreRead) {
    serve(10, Limits{}.queuedBytes);
    Fake_caller flooder(m_peer, m_remote);
    Fake_caller second(m_peer, m_remote);
    Fake_caller third(m_peer, m_remote);
    flooder.call(FAKE_ECHO, 30);
    ASSERT_EQ(taken(), 10U);
    second.call(FAKE_ECHO, 5);
    ASSERT_EQ(taken(), 11U);
    third.call(FAKE_ECHO, 5);
    ASSERT_EQ(taken(), 12U);

    while (m_service->processor().size() != 0) {
        run(1);
        ASSERT_LE(taken(), 12U);
    }

    EXPECT_THAT(flooder.answers(), SizeIs(30));
    EXPECT_THAT(second.answers(), SizeIs(5));
    EXPECT_THAT(third.answers(), SizeIs(5));
}

TEST_F(Overload_test, BytesOfWaitingCallsAreBoundedToo) {
    serve(Limits{}.queuedCalls, 10'000);
    Fake_caller flooder(m_peer, m_remote);
    Fake_caller other(m_peer, m_remote);
    flooder.call(FAKE_ECHO, 20, 3'000);
    ASSERT_EQ(taken(), 4U);
    other.call(FAKE_ECHO, 2, 3'000);
    ASSERT_EQ(taken(), 5U);

    runAll();

    EXPECT_THAT(flooder.answers(), SizeIs(20));
    EXPECT_THAT(other.answers(), SizeIs(2));
}

TEST_F(Overload_test, ConnectionIsReadOnWhenItsWaitingCallBeginsEvenIfThatIsNeverAnswered) {
    serve(10, Limits{}.queuedBytes);
    Fake_caller first(m_peer, m_remote);
    Fake_caller flooder(m_peer, m_remote);
    first.call(FAKE_HOLD, 1);
    ASSERT_EQ(taken(), 1U);
    flooder.call(FAKE_ECHO, 30);
    ASSERT_EQ(taken(), 10U);
    first.call(FAKE_HOLD, 2);
    ASSERT_EQ(taken(), 10U);

    while (m_service->held().size() < 3 && m_service->processor().size() != 0) run(1);

    EXPECT_EQ(m_service->held().size(), 3U);
    runAll();
    EXPECT_THAT(flooder.answers(), SizeIs(30));
    for (auto const& reply : m_service->held()) reply(0, {});
    m_service->held().clear();
    m_clock.settle();
    EXPECT_THAT(first.answers(), SizeIs(3));
}

TEST_F(Overload_test, CallThatIsDroppedLeavesTheBacklog) {
    serve(10, Limits{}.queuedBytes);
    for (int round = 0; round < 5; ++round) {
        Fake_caller flooder(m_peer, m_remote);
        flooder.call(FAKE_ECHO, 20);
        ASSERT_EQ(taken(), 10U);
        m_network.disconnect();
        ASSERT_EQ(taken(), 0U);
    }
}

TEST_F(Overload_test, ProcessorThatTakesNoCallsKeepsNone) {
    m_server = std::make_unique<Fake_process>(m_clock, m_network, SERVER, fakeDeployment(SERVER, SERVER, {}));
    Held_service elsewhere(*m_server, OVER_UDP);  // makes the process's runtime the program's
    ac::com::cpp_binding::skeleton::Pport port({OVER_TCP}, {"1"}, {0x20000});
    struct Taking_none : ac::com::cpp_binding::skeleton::detail::Method_processor {
        void post(std::function<void()>&&) override {}
        void wait() override {}
    };
    ac::com::cpp_binding::skeleton::Method_dispatcher sut(port, std::make_unique<Taking_none>());
    sut.add_method(FAKE_ECHO, [](auto, auto const&, auto const&) { FAIL(); });
    sut.start();
    port.start_offer();
    Fake_caller caller(m_peer, m_remote);

    caller.call(FAKE_ECHO, 100);
    m_clock.settle();

    EXPECT_EQ(taken(), 0U);
    EXPECT_THAT(caller.answers(), SizeIs(0));
}

}  // namespace
}  // namespace eb::com::runtime
