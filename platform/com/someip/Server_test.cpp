// A server on real sockets, and peers that send what no runtime would.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <deque>

#include "platform/com/runtime/Counters.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Raw_socket.h"
#include "platform/com/testing/Server_test.h"

namespace eb::com::runtime::someip {
namespace {

using namespace testing;

TEST_F(Server_test, ReplyCarriesTheServicesBytes) {
    Raw_socket peer(tcp());
    expectEcho(peer, TCP_SERVICE);
}

TEST_F(Server_test, DatagramIsAnsweredToItsSender) {
    Raw_socket first(udp());
    Raw_socket second(udp());
    expectEcho(first, UDP_SERVICE);
    expectEcho(second, UDP_SERVICE);
    expectEcho(first, UDP_SERVICE);  // nothing came before that
}

TEST_F(Server_test, ErrorOfTheServiceIsAnErrorMessageWithItsPayload) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(FAIL), 7)));
    auto const answer = peer.read();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->header.type, 0x81);
    EXPECT_EQ(answer->header.code, 2);
    EXPECT_EQ(answer->header.session, 7);
    EXPECT_EQ(answer->payload.bytes(), Bytes{0x26});
}

TEST_F(Server_test, HandlerThatThrowsGivesNoReplyAndHarmsNobody) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(THROW))));
    expectEcho(peer, TCP_SERVICE);
}

TEST_F(Server_test, CallThatIsNeverAnsweredIsForgotten) {
    Raw_socket peer(tcp());
    for (std::uint16_t session = 1; session <= 1000; ++session)
        peer.send(frame(request(TCP_SERVICE, wire(NEVER), session)));
    expectEcho(peer, TCP_SERVICE);
    EXPECT_TRUE(eventually([] { return counters().sessions == 0; }));
}

TEST_F(Server_test, OnlyTheFirstReplyLeaves) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(HOLD))));
    ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 1; }));
    auto const reply = m_tcpService.takeHeld().front();

    reply(0, {});
    reply(1, {});

    EXPECT_EQ(peer.read()->header.code, 0);
    expectEcho(peer, TCP_SERVICE);  // nothing came before that
}

TEST_F(Server_test, CallThatWantsNoAnswerGetsNone) {
    Header header = request(TCP_SERVICE, wire(ECHO));
    header.type = static_cast<std::uint8_t>(Message_type::requestNoReturn);
    Raw_socket peer(tcp());
    peer.send(frame(header));
    expectEcho(peer, TCP_SERVICE);  // nothing came before that: calls are run one after another
}

TEST_F(Server_test, RepliesOfLaterCallsMayComeFirst) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(HOLD), 1)));
    expectEcho(peer, TCP_SERVICE);
    m_tcpService.takeHeld().front()(0, {});
    EXPECT_EQ(peer.read()->header.session, 1);
}

TEST_F(Server_test, TruncatedDatagramsAreDropped) {
    Bytes const whole = frame(request(UDP_SERVICE, wire(ECHO)), {1, 2, 3});
    Raw_socket peer(udp());
    for (std::size_t size = 0; size < whole.size(); ++size)
        peer.send(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    expectEcho(peer, UDP_SERVICE);
}

TEST_F(Server_test, SeveralMessagesOfOneDatagramAreAllAnswered) {
    Bytes merged;
    for (std::uint16_t session = 1; session <= 3; ++session) {
        Bytes const one = frame(request(UDP_SERVICE, wire(ECHO), session), {7});
        merged.insert(merged.end(), one.begin(), one.end());
    }
    Raw_socket peer(udp());
    peer.send(merged);
    for (std::uint16_t session = 1; session <= 3; ++session) EXPECT_EQ(peer.read()->header.session, session);
}

TEST_F(Server_test, MessageTornAfterEveryByteIsAnswered) {
    Bytes const whole = frame(request(TCP_SERVICE, wire(ECHO)), {1, 2, 3});
    for (std::size_t at = 1; at < whole.size(); ++at) {
        Raw_socket peer(tcp());
        peer.send(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)));
        Raw_socket other(tcp());
        expectEcho(other, TCP_SERVICE);  // by then the first piece has been read alone
        peer.send(Bytes(whole.begin() + static_cast<std::ptrdiff_t>(at), whole.end()));
        auto const answer = peer.read();
        ASSERT_TRUE(answer) << at;
        EXPECT_EQ(answer->payload.bytes(), (Bytes{1, 2, 3}));
    }
}

TEST_F(Server_test, MergedMessagesAreAllAnswered) {
    Bytes merged;
    for (std::uint16_t session = 1; session <= 200; ++session) {
        Bytes const one = frame(request(TCP_SERVICE, wire(ECHO), session), {1});
        merged.insert(merged.end(), one.begin(), one.end());
    }
    Raw_socket peer(tcp());
    peer.send(merged);
    for (std::uint16_t session = 1; session <= 200; ++session)
        EXPECT_EQ(peer.read()->header.session, session);
}

TEST_F(Server_test, ConnectionThatBreaksInAMessageHarmsNobody) {
    Bytes const whole = frame(request(TCP_SERVICE, wire(ECHO)), {1, 2, 3});
    for (std::size_t at = 0; at < whole.size(); ++at) {
        Raw_socket peer(tcp());
        peer.send(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)));
    }
    Raw_socket next(tcp());
    expectEcho(next, TCP_SERVICE);
    EXPECT_TRUE(eventually([] { return counters().connections <= 2; }));  // next, and the UDP socket
}

TEST_F(Server_test, PeerThatHasEndedSendingStillGetsItsAnswers) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(HOLD))));
    peer.endSending();
    ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 1; }));
    m_tcpService.takeHeld().front()(0, {});
    EXPECT_TRUE(peer.read());
    EXPECT_TRUE(peer.isClosedByPeer());
}

TEST_F(Server_test, HalfOpenConnectionsHarmNobody) {
    std::deque<Raw_socket> silent;
    for (int count = 0; count < 50; ++count) {
        silent.emplace_back(tcp());
        silent.back().endSending();
    }
    Raw_socket peer(tcp());
    expectEcho(peer, TCP_SERVICE);
    for (Raw_socket const& half : silent) EXPECT_TRUE(half.isClosedByPeer());
    EXPECT_TRUE(eventually([] { return counters().connections == 2; }));
}

TEST_F(Server_test, TwoHundredConnectionsAreServed) {
    std::deque<Raw_socket> peers;
    for (int count = 0; count < 200; ++count) peers.emplace_back(tcp());
    for (int round = 0; round < 3; ++round)
        for (Raw_socket& peer : peers) expectEcho(peer, TCP_SERVICE);
    EXPECT_EQ(counters().connections, 201);
    peers.clear();
    EXPECT_TRUE(eventually([] { return counters().connections == 1; }));
}

TEST_F(Server_test, ReplyLongerThanTheBoundIsAnError) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(BIG)), {0x00, 0x10, 0x00, 0x01}));
    EXPECT_EQ(peer.read()->header.code, E_NOT_OK);
    peer.send(frame(request(TCP_SERVICE, wire(BIG)), {0x00, 0x10, 0x00, 0x00}));
    EXPECT_EQ(peer.read()->payload.bytes().size(), 1U << 20U);
}

TEST_F(Server_test, PeerThatNeverReadsLosesItsConnectionAndNobodyWaits) {
    auto const dropped = counters().dropped.load();
    Raw_socket peer(tcp());
    Raw_socket other(tcp());

    for (int count = 0; count < 64 && counters().dropped == dropped; ++count)
        peer.send(frame(request(TCP_SERVICE, wire(BIG)), {0x00, 0x10, 0x00, 0x00}));

    EXPECT_TRUE(eventually([&] { return counters().dropped > dropped; }));
    expectEcho(other, TCP_SERVICE);
    EXPECT_TRUE(eventually([] { return counters().connections == 2; }));
}

class Server_limits_test : public Server_test {
protected:
    Server_limits_test()
        : Server_test(R"({"outstanding_calls": 4, "connections": 3, "message_bytes": 1024})") {}
};

TEST_F(Server_limits_test, SocketIsNotReadAboveTheLimitOfOutstandingCalls) {
    Raw_socket peer(tcp());
    for (std::uint16_t session = 1; session <= 10; ++session)
        peer.send(frame(request(TCP_SERVICE, wire(HOLD), session)));
    ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 4; }));
    Raw_socket other(tcp());
    expectEcho(other, TCP_SERVICE);  // another connection has a limit of its own
    EXPECT_EQ(m_tcpService.held(), 4U);

    std::size_t answered = 0;
    while (answered < 10) {
        ASSERT_TRUE(eventually([this] { return m_tcpService.held() != 0; }));
        for (auto const& reply : m_tcpService.takeHeld()) {
            reply(0, {});
            ++answered;
        }
    }
    for (std::uint16_t session = 1; session <= 10; ++session) EXPECT_EQ(peer.read()->header.session, session);
}

TEST_F(Server_limits_test, BytesOfOutstandingCallsAreLimitedToo) {
    Raw_socket peer(tcp());
    for (std::uint16_t session = 1; session <= 4; ++session)
        peer.send(frame(request(TCP_SERVICE, wire(HOLD), session), Bytes(1024)));
    ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 3; }));
    Raw_socket other(tcp());
    expectEcho(other, TCP_SERVICE);
    EXPECT_EQ(m_tcpService.held(), 3U);
    m_tcpService.takeHeld().clear();
    EXPECT_TRUE(eventually([this] { return m_tcpService.held() == 1; }));
    m_tcpService.takeHeld();
}

TEST_F(Server_limits_test, DatagramsAboveTheLimitWaitWithTheOperatingSystem) {
    Raw_socket peer(udp());
    for (std::uint16_t session = 1; session <= 10; ++session)
        peer.send(frame(request(UDP_SERVICE, wire(HOLD), session)));
    ASSERT_TRUE(eventually([this] { return m_udpService.held() == 4; }));
    for (std::size_t answered = 0; answered < 10;) {
        ASSERT_TRUE(eventually([this] { return m_udpService.held() != 0; }));
        auto const replies = m_udpService.takeHeld();
        EXPECT_LE(replies.size(), 4U);
        for (auto const& reply : replies) reply(0, {});
        answered += replies.size();
    }
    for (std::uint16_t session = 1; session <= 10; ++session) EXPECT_EQ(peer.read()->header.session, session);
    expectEcho(peer, UDP_SERVICE);
}

TEST_F(Server_limits_test, ResetOfAConnectionThatIsNotReadIsNoticed) {
    std::vector<ac::com::cpp_binding::skeleton::Reply_function> underWay;
    {
        Raw_socket peer(tcp());
        for (std::uint16_t session = 1; session <= 6; ++session)
            peer.send(frame(request(TCP_SERVICE, wire(HOLD), session)));
        ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 4; }));
        underWay = m_tcpService.takeHeld();
        underWay.back()(0, {});
        underWay.pop_back();
        ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 1; }))
            << "the connection is full again";
    }  // with the answer unread, which makes the close a reset
    EXPECT_TRUE(eventually([] { return counters().connections == 1; })) << "the UDP socket";
    EXPECT_EQ(counters().sessions, 4) << "although its calls are still under way";
    m_tcpService.takeHeld();
}

TEST_F(Server_limits_test, ConnectionAboveTheLimitIsClosedWhileAllOthersAreBusy) {
    std::deque<Raw_socket> peers;
    for (std::size_t count = 0; count < 3; ++count) {
        peers.emplace_back(tcp());
        peers.back().send(frame(request(TCP_SERVICE, wire(HOLD))));
        ASSERT_TRUE(eventually([&] { return m_tcpService.held() == count + 1; }));
    }
    Raw_socket rejected(tcp());
    EXPECT_TRUE(rejected.isClosedByPeer());
    for (auto const& reply : m_tcpService.takeHeld()) reply(0, {});
    for (Raw_socket& peer : peers) EXPECT_TRUE(peer.read());
    ASSERT_TRUE(eventually([] { return counters().sessions == 0; }));

    Raw_socket next(tcp());

    expectEcho(next, TCP_SERVICE);
    EXPECT_EQ(counters().connections, 4) << "one of the three had to go; the fourth is the UDP socket";
}

TEST_F(Server_test, ServiceThatWasWithdrawnIsUnknownAndItsPortCloses) {
    Raw_socket peer(tcp());
    expectEcho(peer, TCP_SERVICE);

    m_tcpService.port.stop_offer();

    EXPECT_TRUE(peer.isClosedByPeer());
    EXPECT_THROW(Raw_socket next(tcp()), std::system_error);
    m_tcpService.port.start_offer();
    Raw_socket next(tcp());
    expectEcho(next, TCP_SERVICE);
}

TEST_F(Server_test, CallTakenBeforeTheOfferEndedIsStillAnswered) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(HOLD))));
    ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 1; }));

    m_tcpService.port.stop_offer();
    peer.send(frame(request(TCP_SERVICE, wire(ECHO), 2)));
    EXPECT_EQ(peer.read()->header.code, E_UNKNOWN_SERVICE);
    m_tcpService.takeHeld().front()(0, {});

    EXPECT_EQ(peer.read()->header.code, E_OK);
    EXPECT_TRUE(peer.isClosedByPeer());
}

TEST_F(Server_test, ConnectionThatStayedForACallServesTheNextOffer) {
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(HOLD))));
    ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 1; }));

    m_tcpService.port.stop_offer();
    m_tcpService.port.start_offer();
    m_tcpService.takeHeld().front()(0, {});

    EXPECT_EQ(peer.read()->header.code, E_OK);
    expectEcho(peer, TCP_SERVICE);
}

TEST_F(Server_test, CallsToAStoppedDispatcherAreNotReady) {
    m_tcpService.dispatcher.stop();
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(ECHO))));
    EXPECT_EQ(peer.read()->header.code, E_NOT_READY);
    m_tcpService.dispatcher.start();
    expectEcho(peer, TCP_SERVICE);
}

TEST_F(Server_test, ReplyAfterTheRuntimeHasGoneIsHarmless) {
    auto runtime = makeRuntime(manifest(m_address));  // one more owner, so that the others may go first
    Raw_socket peer(tcp());
    peer.send(frame(request(TCP_SERVICE, wire(HOLD))));
    ASSERT_TRUE(eventually([this] { return m_tcpService.held() == 1; }));
    auto replies = m_tcpService.takeHeld();
    m_runtime.reset();
    runtime.reset();
    replies.front()(0, {});
    replies.clear();
    EXPECT_TRUE(peer.isClosedByPeer());
}

}  // namespace
}  // namespace eb::com::runtime::someip
