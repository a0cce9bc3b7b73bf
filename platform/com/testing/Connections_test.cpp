// An endpoint with as many connections as it takes, and peers that stop in the middle of a message: who has
// to go, and what the log says of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "platform/com/someip/Frame.h"
#include "platform/com/testing/Held_service.h"
#include "platform/com/testing/Hostile_frames.h"
#include "platform/com/testing/Stack_test.h"
#include "platform/log/Memory_target.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using ara::log::LogLevel;
using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::SizeIs;
using Bytes = std::vector<std::uint8_t>;

class Connections_test : public Stack_test {
protected:
    explicit Connections_test(std::vector<std::uint32_t> everybody = {}) : Stack_test(std::move(everybody)) {}
    ~Connections_test() override { m_service.reset(); }

    void serve(std::size_t connections) {
        Deployment deployment = fakeDeployment(SERVER, SERVER, m_everybody);
        deployment.limits.connections = connections;
        m_server.reset();
        m_server = std::make_unique<Fake_process>(m_clock, m_network, SERVER, deployment);
        m_service = std::make_unique<Fake_service>(*m_server, OVER_TCP);
        m_clock.settle();
    }
    Fake_caller& connect(Fake_peer& peer) {
        Fake_caller& caller = m_callers.emplace_back(peer, m_remote);
        m_clock.settle();
        return caller;
    }
    bool isAnswered(Fake_caller& caller) {
        std::size_t const before = caller.answers().size();
        caller.call(FAKE_ECHO, 1);
        m_clock.settle();
        return caller.answers().size() == before + 1;
    }
    static bool isOpen(Fake_caller const& caller) {
        return !caller.channel().hasEnded() && !caller.channel().error();
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> texts;
        for (auto const& message : m_log.messages("ACOM")) texts.push_back(message.text);
        return texts;
    }

    ara::log::Capture m_log{LogLevel::kWarn};
    Endpoint const m_remote{Transport::tcp, {SERVER, FAKE_PORT}};
    Fake_peer m_peer{m_clock, m_network, CLIENT};
    Fake_peer m_stranger{m_clock, m_network, OTHER};
    std::deque<Fake_caller> m_callers;
    std::unique_ptr<Fake_service> m_service;
};

TEST_F(Connections_test, NewClientIsServedAtOnceBesideTheConnectionsOfAVanishedHost) {
    serve(512);
    for (int count = 0; count < 512; ++count) ASSERT_TRUE(isAnswered(connect(m_stranger)));
    m_network.partition(SERVER, OTHER);

    EXPECT_TRUE(isAnswered(connect(m_peer)));

    m_network.heal();
}

TEST_F(Connections_test, TheOneThatHasBeenIdleLongestGivesWay) {
    serve(3);
    Fake_caller& first = connect(m_peer);
    m_clock.advance(milliseconds(10));
    Fake_caller& second = connect(m_peer);
    m_clock.advance(milliseconds(10));
    Fake_caller& third = connect(m_peer);
    m_clock.advance(milliseconds(10));
    ASSERT_TRUE(isAnswered(first));

    EXPECT_TRUE(isAnswered(connect(m_peer)));

    EXPECT_FALSE(isOpen(second));
    EXPECT_TRUE(isAnswered(first));
    EXPECT_TRUE(isAnswered(third));
    EXPECT_EQ(counters().connections, 3);
}

TEST_F(Connections_test, ConnectionThatWasAnsweredIsIdleFromThenOn) {
    serve(2);
    Fake_caller& first = connect(m_peer);
    first.call(FAKE_HOLD, 1);
    m_clock.advance(milliseconds(10));
    Fake_caller& second = connect(m_peer);
    m_clock.advance(milliseconds(10));
    m_service->answer();
    m_clock.settle();
    ASSERT_THAT(first.answers(), SizeIs(1));

    EXPECT_TRUE(isAnswered(connect(m_peer)));

    EXPECT_TRUE(isOpen(first));
    EXPECT_FALSE(isOpen(second));
}

TEST_F(Connections_test, ConnectionWithACallUnderWayStaysWhileAnotherIsIdle) {
    serve(2);
    Fake_caller& busy = connect(m_peer);
    busy.call(FAKE_HOLD, 1);
    m_clock.advance(seconds(1));
    Fake_caller& idle = connect(m_peer);
    m_clock.advance(seconds(1));

    EXPECT_TRUE(isAnswered(connect(m_peer)));

    EXPECT_FALSE(isOpen(idle));
    m_service->answer();
    m_clock.settle();
    EXPECT_THAT(busy.answers(), SizeIs(1));
}

TEST_F(Connections_test, ConnectionWhosePeerLeavesAnswersUnreadStaysWhileAnotherIsIdle) {
    serve(2);
    Fake_caller& slow = connect(m_stranger);
    m_network.stall(OTHER);
    slow.call(FAKE_ECHO, 1, 100'000);
    m_clock.advance(seconds(1));
    Fake_caller& idle = connect(m_peer);
    m_clock.advance(seconds(1));

    EXPECT_TRUE(isAnswered(connect(m_peer)));

    EXPECT_FALSE(isOpen(idle));
    m_network.stall(OTHER, false);
    m_clock.settle();
    EXPECT_THAT(slow.answers(), SizeIs(1));
}

TEST_F(Connections_test, NewConnectionIsRefusedWhileAllOthersAreBusy) {
    serve(2);
    Fake_caller& first = connect(m_peer);
    Fake_caller& second = connect(m_peer);
    first.call(FAKE_HOLD, 1);
    second.call(FAKE_HOLD, 1);
    m_clock.settle();

    EXPECT_FALSE(isOpen(connect(m_peer)));

    m_service->answer();
    m_clock.settle();
    EXPECT_THAT(first.answers(), SizeIs(1));
    EXPECT_THAT(second.answers(), SizeIs(1));
    EXPECT_TRUE(isAnswered(connect(m_peer)));
}

TEST_F(Connections_test, HostWithTheMostConnectionsGivesWayFirst) {
    serve(4);
    Fake_caller& single = connect(m_peer);
    m_clock.advance(seconds(1));
    Fake_caller& oldest = connect(m_stranger);
    m_clock.advance(seconds(1));
    connect(m_stranger);
    connect(m_stranger);

    for (int count = 0; count < 5; ++count) EXPECT_TRUE(isAnswered(connect(m_stranger)));

    EXPECT_FALSE(isOpen(oldest));
    EXPECT_TRUE(isAnswered(single)) << "a flood of others doesn't drive it out";
}

class Subscribed_connections_test : public Connections_test {
protected:
    Subscribed_connections_test() : Connections_test({SERVER, CLIENT, OTHER}) {}
};

TEST_F(Subscribed_connections_test, SubscribersConnectionStaysWhileAnotherIsIdle) {
    serve(2);
    Fake_client subscriber(*m_client, OVER_TCP);
    subscriber.subscribe(FAKE_TICK);
    m_clock.advance(seconds(1));
    ASSERT_EQ(subscriber.state(FAKE_TICK), Event_state::subscribed);
    Fake_caller& idle = connect(m_stranger);
    m_clock.advance(seconds(1));

    EXPECT_TRUE(isAnswered(connect(m_stranger)));

    EXPECT_FALSE(isOpen(idle));
    m_service->send(FAKE_TICK, {1});
    m_clock.advance(milliseconds(10));
    subscriber.catchUp();
    EXPECT_THAT(subscriber.samples(FAKE_TICK), ElementsAre(Bytes{1}));

    subscriber.unsubscribe(FAKE_TICK);
    m_clock.advance(seconds(1));
    Fake_caller& one = connect(m_stranger);
    m_clock.advance(seconds(1));
    EXPECT_TRUE(isAnswered(one));
    connect(m_stranger);
    EXPECT_TRUE(isOpen(one)) << "the former subscriber's connection was idle longer";
}

TEST_F(Connections_test, MessageThatStopsInTheMiddleEndsItsConnection) {
    serve(8);
    Bytes const whole = someip::encode(hostileHeader(FAKE_TCP_ID), Bytes(100));
    for (std::size_t const size : {1U, 8U, 16U, 115U}) {
        SCOPED_TRACE(size);
        Fake_caller& caller = connect(m_peer);
        caller.channel().send(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        m_clock.advance(Limits{}.messageLimit - milliseconds(1));
        EXPECT_TRUE(isOpen(caller));
        m_clock.advance(milliseconds(2));
        EXPECT_FALSE(isOpen(caller));
    }
    m_clock.advance(seconds(2));
    EXPECT_THAT(lines(),
                ::testing::Contains("a connection is ended: its peer sent no whole message in 10000 ms"));
}

TEST_F(Connections_test, EachMessageHasItsOwnLimit) {
    serve(8);
    Bytes const whole = someip::encode(hostileHeader(FAKE_TCP_ID), Bytes(100));
    Fake_caller& caller = connect(m_peer);
    Bytes half(whole.begin(), whole.begin() + 50);
    Bytes rest(whole.begin() + 50, whole.end());
    caller.channel().send(half);
    rest.insert(rest.end(), half.begin(), half.end());
    for (int count = 0; count < 5; ++count) {
        m_clock.advance(Limits{}.messageLimit - milliseconds(1));
        caller.channel().send(rest);
        m_clock.settle();
        ASSERT_TRUE(isOpen(caller)) << "each of them came in time";
    }
    EXPECT_THAT(caller.answers(), SizeIs(5));
    caller.channel().send(Bytes(whole.begin() + 50, whole.end()));
    m_clock.advance(seconds(60));
    EXPECT_TRUE(isOpen(caller)) << "nothing was begun";
    EXPECT_THAT(caller.answers(), SizeIs(6));
}

TEST_F(Connections_test, DrippingBytesDontMakeTheLimitLonger) {
    serve(8);
    Bytes const whole = someip::encode(hostileHeader(FAKE_TCP_ID), Bytes(100));
    Fake_caller& caller = connect(m_peer);
    for (std::size_t at = 0; at < 11; ++at) {
        caller.channel().send({whole[at]});
        m_clock.advance(seconds(1));
    }
    EXPECT_FALSE(isOpen(caller));
}

TEST_F(Connections_test, CallsBeforeAnUnfinishedMessageAreStillAnswered) {
    serve(8);
    Fake_caller& caller = connect(m_peer);
    caller.call(FAKE_HOLD, 1);
    caller.channel().send({0});
    m_clock.advance(Limits{}.messageLimit + milliseconds(1));
    ASSERT_TRUE(isOpen(caller));
    m_service->answer();
    m_clock.settle();
    EXPECT_THAT(caller.answers(), SizeIs(1));
    m_clock.advance(seconds(1));
    EXPECT_FALSE(isOpen(caller));
}

TEST_F(Connections_test, WhatTheServerDoesntReadIsNotThePeersFault) {
    Deployment deployment = fakeDeployment(SERVER, SERVER, {});
    deployment.limits.outstandingCalls = 1;
    m_server = std::make_unique<Fake_process>(m_clock, m_network, SERVER, deployment);
    m_service = std::make_unique<Fake_service>(*m_server, OVER_TCP);
    Fake_caller& caller = connect(m_peer);
    Bytes const whole = someip::encode(hostileHeader(FAKE_TCP_ID), Bytes(100));
    caller.channel().send(Bytes(whole.begin(), whole.begin() + 50));
    m_clock.settle();
    Bytes rest(whole.begin() + 50, whole.end());
    auto held = hostileHeader(FAKE_TCP_ID);
    held.method = FAKE_HOLD + 1;
    Bytes const hold = someip::encode(held, {});
    rest.insert(rest.end(), hold.begin(), hold.end());
    rest.insert(rest.end(), whole.begin(), whole.begin() + 50);
    caller.channel().send(rest);
    m_clock.advance(seconds(60));
    ASSERT_TRUE(isOpen(caller)) << "it is full, and reads nothing";

    m_service->answer();
    m_clock.settle();
    m_clock.advance(Limits{}.messageLimit - milliseconds(1));
    EXPECT_TRUE(isOpen(caller)) << "from now on the peer has its time";
    m_clock.advance(milliseconds(2));
    EXPECT_FALSE(isOpen(caller));
}

TEST_F(Connections_test, BadConnectionsLogTheFirstAndThenANumberEachSecond) {
    serve(8);
    Bytes bad = someip::encode(hostileHeader(FAKE_TCP_ID), {});
    bad[4] = 0xFF;
    auto const badConnections = [&](int count) {
        for (int number = 0; number < count; ++number) {
            Fake_caller caller(m_peer, m_remote);
            caller.channel().send(bad);
            m_clock.settle();
            caller.channel().close();
            m_clock.settle();
        }
    };
    std::string const text = "a connection is ended: its peer sent a message of an impossible length";

    badConnections(100);
    EXPECT_THAT(lines(), ElementsAre(text));
    m_clock.advance(seconds(1));
    EXPECT_THAT(lines(), ElementsAre(text, text + " (99 more like it)"));
    badConnections(5);
    m_clock.advance(seconds(1));
    EXPECT_THAT(lines(), ElementsAre(text, text + " (99 more like it)", text + " (5 more like it)"));
    m_clock.advance(seconds(10));
    EXPECT_THAT(lines(), SizeIs(3));
    badConnections(1);
    EXPECT_THAT(lines(), SizeIs(4)) << "after a quiet second one is new";
}

TEST_F(Connections_test, ConnectionsAboveTheLimitLogTheFirstAndThenANumberEachSecond) {
    serve(1);
    Fake_caller& first = connect(m_peer);
    connect(m_peer).call(FAKE_HOLD, 1);
    m_clock.settle();
    ASSERT_FALSE(isOpen(first));
    for (int count = 0; count < 20; ++count) connect(m_peer);
    EXPECT_THAT(lines(),
                ElementsAre("tcp 127.0.0.1:30509: too many connections; one that is idle is closed"));
    m_clock.advance(seconds(1));
    EXPECT_THAT(lines(), ElementsAre(EndsWith("is closed"),
                                     "tcp 127.0.0.1:30509: too many connections; another one is refused"
                                     " (20 more like it)"));
    m_service->answer();
}

}  // namespace
}  // namespace eb::com::runtime
