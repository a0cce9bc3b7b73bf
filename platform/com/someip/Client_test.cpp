// The client's side on real sockets: against a server of this runtime, and against one that the test plays.
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <set>

#include <ac/com/Exceptions.h>

#include "binding/adapter/Platform_adapter.h"
#include "platform/com/deployment/Manifest.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Raw_socket.h"

namespace eb::com::runtime {
namespace {

using namespace testing;

Serialized_payload payload(Bytes const& bytes) {
    return Serialized_payload(std::make_shared<Bytes>(bytes));
}

/// A runtime of its own that only calls, as another process would.
class Client_test : public ::testing::Test {
protected:
    explicit Client_test(std::string const& limits = "{}")
        : m_runtime(std::make_shared<Process_runtime>(parseManifest(manifest(m_address, limits), "test"))),
          m_tcp(connect("test::Tcp")),
          m_udp(connect("test::Udp")) {}
    ~Client_test() override {
        m_tcp.reset();
        m_udp.reset();
        m_runtime->end();
        EXPECT_EQ(counters().calls, 0);
        EXPECT_EQ(counters().links, 0);
    }

    std::shared_ptr<Client_port> connect(std::string const& interface) {
        return m_runtime->connect(m_runtime->deploymentOf({interface}, {"1"}));
    }
    std::shared_ptr<Method_call> begin(std::shared_ptr<Client_port> const& port, Method method,
                                       Bytes const& bytes = {}) {
        return ac::com::cpp_binding::adapter::call(
                   *port, method, payload(bytes),
                   [box = m_box](Call_result const& result) { box->put(result); })
            .get();
    }
    Call_result call(std::shared_ptr<Client_port> const& port, Method method, Bytes const& bytes = {}) {
        begin(port, method, bytes);
        return m_box->take().value();
    }

    Address const m_address = freeAddress();
    std::shared_ptr<Process_runtime> m_runtime;
    std::shared_ptr<Client_port> m_tcp;
    std::shared_ptr<Client_port> m_udp;
    std::shared_ptr<Mailbox<Call_result>> m_box = std::make_shared<Mailbox<Call_result>>();
};

/// With the services in the process's own runtime.
class Client_and_server_test : public Client_test {
protected:
    std::unique_ptr<ac::com::runtime::Component_singleton> m_server = makeRuntime(manifest(m_address));
    std::unique_ptr<Echo_service> m_tcpService = std::make_unique<Echo_service>("test::Tcp");
    std::unique_ptr<Echo_service> m_udpService = std::make_unique<Echo_service>("test::Udp");
};

TEST_F(Client_and_server_test, AnswerBringsCodeAndPayload) {
    for (auto const& port : {m_tcp, m_udp}) {
        Call_result const good = call(port, ECHO, {1, 2, 3});
        EXPECT_EQ(good.outcome, Call_outcome::answered);
        EXPECT_EQ(good.return_code, 0);
        EXPECT_EQ(good.payload.bytes(), (Bytes{1, 2, 3}));

        Call_result const bad = call(port, FAIL);
        EXPECT_EQ(bad.outcome, Call_outcome::answered);
        EXPECT_EQ(bad.return_code, 2);
        EXPECT_EQ(bad.payload.bytes(), Bytes{0x26});
    }
}

TEST_F(Client_and_server_test, EndpointIsTold) {
    EXPECT_EQ(m_tcp->endpoint(), "tcp " + m_address.text());
    EXPECT_EQ(m_udp->endpoint(), "udp " + m_address.text());
}

TEST_F(Client_and_server_test, LongMessagesPassOverTcp) {
    Bytes const longest(1U << 20U, 0x77);
    EXPECT_EQ(call(m_tcp, ECHO, longest).payload.bytes(), longest);
}

TEST_F(Client_and_server_test, RequestsBeyondTheBoundDoNotLeave) {
    Call_result const tcp = call(m_tcp, ECHO, Bytes((1U << 20U) + 1));
    EXPECT_EQ(tcp.outcome, Call_outcome::transport);
    EXPECT_EQ(tcp.detail, "tcp " + m_address.text() + ": a request of 1048577 bytes is longer than 1048576");
    Call_result const udp = call(m_udp, ECHO, Bytes((1U << 20U) + 1));
    EXPECT_EQ(udp.outcome, Call_outcome::transport);
    EXPECT_EQ(udp.detail, "udp " + m_address.text() + ": a request of 1048577 bytes is longer than 1048576");
    EXPECT_EQ(call(m_tcp, ECHO, {1}).outcome, Call_outcome::answered);
    EXPECT_EQ(call(m_udp, ECHO, {1}).outcome, Call_outcome::answered);
}

TEST_F(Client_and_server_test, MethodBeyondTheDeploymentIsRefused) {
    Call_result const result = call(m_tcp, static_cast<Method>(7));
    EXPECT_EQ(result.outcome, Call_outcome::transport);
    EXPECT_EQ(result.detail, "test: test::Tcp has no method 7");
}

TEST_F(Client_and_server_test, PortsOfOneEndpointShareAConnection) {
    auto const another = connect("test::Tcp");
    call(m_tcp, ECHO);
    call(another, ECHO);
    EXPECT_EQ(counters().links, 1);
}

TEST_F(Client_and_server_test, FailureIsReportedAlsoToACallerThatAsksAfterTheEnd) {
    // Given a call that has ended without an answer, before anybody asked how
    auto const refused = m_tcp
                             ->call(ECHO, payload(Bytes((1U << 20U) + 1)),
                                    [](unsigned char, Serialized_payload const&) { ADD_FAILURE(); })
                             .get();
    EXPECT_EQ(call(m_tcp, ECHO).outcome, Call_outcome::answered) << "behind it on the same thread";
    // When somebody asks
    refused->on_failure([box = m_box](Call_result const& result) { box->put(result); });
    // Then the outcome is reported
    EXPECT_EQ(m_box->take().value().outcome, Call_outcome::transport);
}

TEST_F(Client_and_server_test, CancelledCallEndsAtOnceAndItsLateAnswerIsDropped) {
    auto const cancelled = begin(m_tcp, HOLD);
    ASSERT_TRUE(eventually([this] { return m_tcpService->held() == 1; }));

    cancelled->cancel();
    Call_result const result = m_box->take().value();
    cancelled->cancel();
    m_tcpService->takeHeld().front()(0, {});

    EXPECT_EQ(result.outcome, Call_outcome::cancelled);
    EXPECT_EQ(call(m_tcp, ECHO, {9}).payload.bytes(), Bytes{9});
    EXPECT_EQ(m_box->count(), 2);
}

TEST_F(Client_and_server_test, CallsEndWithTheirPort) {
    begin(m_tcp, HOLD);
    begin(m_udp, HOLD);
    ASSERT_TRUE(eventually([this] { return m_tcpService->held() == 1 && m_udpService->held() == 1; }));

    m_tcp.reset();

    Call_result const result = m_box->take().value();
    EXPECT_EQ(result.outcome, Call_outcome::cancelled);
    EXPECT_EQ(result.detail, "the port has gone");
    EXPECT_TRUE(eventually([] { return counters().calls <= 1; }));
    EXPECT_EQ(counters().calls, 1) << "the other port's call goes on";
    m_tcpService->takeHeld();
    m_udpService->takeHeld();
}

TEST_F(Client_and_server_test, CallsEndWithTheRuntime) {
    begin(m_tcp, HOLD);
    m_runtime->end();
    EXPECT_EQ(m_box->take().value().outcome, Call_outcome::cancelled);
    EXPECT_THROW(begin(m_tcp, ECHO), ac::com::Infrastructure_exception);
    EXPECT_EQ(m_tcp->endpoint(), "nowhere");
}

TEST_F(Client_and_server_test, ServerThatComesBackIsReachedByTheNextCall) {
    EXPECT_EQ(call(m_tcp, ECHO).outcome, Call_outcome::answered);

    m_tcpService.reset();
    ASSERT_TRUE(eventually([] { return counters().links == 0; }));
    Call_result const lost = call(m_tcp, ECHO);
    EXPECT_EQ(lost.outcome, Call_outcome::not_available);
    EXPECT_EQ(lost.detail, "tcp " + m_address.text() + ": Connection refused");

    m_tcpService = std::make_unique<Echo_service>("test::Tcp");
    EXPECT_EQ(call(m_tcp, ECHO).outcome, Call_outcome::answered);
}

TEST_F(Client_and_server_test, NobodyAtADatagramEndpointIsNotAvailable) {
    m_udpService.reset();
    Call_result const lost = call(m_udp, ECHO);
    EXPECT_EQ(lost.outcome, Call_outcome::not_available);
    EXPECT_EQ(lost.detail, "udp " + m_address.text() + ": Connection refused");

    m_udpService = std::make_unique<Echo_service>("test::Udp");
    EXPECT_EQ(call(m_udp, ECHO).outcome, Call_outcome::answered);
}

TEST_F(Client_and_server_test, AnswerFunctionThatThrowsHarmsNobody) {
    ac::com::cpp_binding::adapter::call(*m_tcp, ECHO, payload({}), [](Call_result const&) { throw 1; });
    EXPECT_EQ(call(m_tcp, ECHO).outcome, Call_outcome::answered);
}

TEST_F(Client_and_server_test, AnswerMayCallAgain) {
    ac::com::cpp_binding::adapter::call(*m_tcp, ECHO, payload({}),
                                        [this](Call_result const&) { begin(m_tcp, ECHO, {5}); });
    EXPECT_EQ(m_box->take().value().payload.bytes(), Bytes{5});
}

TEST_F(Client_and_server_test, ManyCallsAtOnceEachGetTheirOwnAnswer) {
    constexpr std::size_t CALLS = 2000;
    std::atomic<std::size_t> right{0};
    std::atomic<std::size_t> done{0};
    for (std::size_t number = 0; number < CALLS; ++number) {
        Bytes const bytes = {static_cast<std::uint8_t>(number >> 8U),
                             static_cast<std::uint8_t>(number & 0xFFU)};
        ac::com::cpp_binding::adapter::call(*m_tcp, ECHO, payload(bytes),
                                            [&, bytes](Call_result const& result) {
                                                if (result.payload.bytes() == bytes) ++right;
                                                ++done;
                                            });
    }
    EXPECT_TRUE(eventually([&] { return done == CALLS; }));
    EXPECT_EQ(right, CALLS);
}

/// The test plays the server.
class Client_alone_test : public Client_test {
protected:
    using Client_test::Client_test;

    someip::Header expectRequest(Raw_socket& peer) {
        auto const frame = peer.read();
        EXPECT_TRUE(frame);
        return frame ? frame->header : someip::Header{};
    }

    Raw_listener m_listener{m_address};
};

TEST_F(Client_alone_test, RequestHasTheDeploymentsNumbers) {
    begin(m_tcp, ECHO, {1});
    Raw_socket peer = m_listener.accept();

    someip::Header const header = expectRequest(peer);

    EXPECT_EQ(header.service, TCP_SERVICE);
    EXPECT_EQ(header.method, wire(ECHO));
    EXPECT_EQ(header.interfaceVersion, 2);
    EXPECT_EQ(header.protocolVersion, 1);
    EXPECT_EQ(header.type, 0);
    EXPECT_NE(header.client, 0);
    EXPECT_NE(header.session, 0);
}

TEST_F(Client_alone_test, OpenCallsNeverShareASession) {
    constexpr int OPEN = 500;
    for (int count = 0; count < OPEN; ++count) begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    std::set<std::uint16_t> sessions;
    for (int count = 0; count < OPEN; ++count) sessions.insert(expectRequest(peer).session);
    EXPECT_EQ(sessions.size(), static_cast<std::size_t>(OPEN));
    EXPECT_FALSE(sessions.contains(0));
}

TEST_F(Client_alone_test, SessionOfAnOpenCallIsSkippedWhenNumbersComeRound) {
    begin(m_tcp, HOLD);
    Raw_socket peer = m_listener.accept();
    std::uint16_t const open = expectRequest(peer).session;
    for (std::uint32_t count = 0; count < 0x10000; ++count) {
        begin(m_tcp, ECHO);
        someip::Header const header = expectRequest(peer);
        ASSERT_NE(header.session, open);
        ASSERT_NE(header.session, 0);
        peer.send(frame(answerTo(header, 0)));
        ASSERT_TRUE(m_box->take());
    }
}

struct Wrong {
    char const* name;
    std::function<void(someip::Header&)> spoil;
};

class Client_wrong_answer_test : public Client_alone_test, public ::testing::WithParamInterface<Wrong> {};

TEST_P(Client_wrong_answer_test, IsDroppedAndTheRightOneTaken) {
    begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    someip::Header const good = answerTo(expectRequest(peer), 0);
    someip::Header bad = good;
    GetParam().spoil(bad);

    peer.send(frame(bad, {0xBA, 0xD0}));
    peer.send(frame(good, {0x60}));

    EXPECT_EQ(m_box->take().value().payload.bytes(), Bytes{0x60});
    EXPECT_EQ(m_box->count(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Client_wrong_answer_test,
    ::testing::Values(Wrong{"Session", [](someip::Header& header) { ++header.session; }},
                      Wrong{"Client", [](someip::Header& header) { ++header.client; }},
                      Wrong{"Service", [](someip::Header& header) { ++header.service; }},
                      Wrong{"Method", [](someip::Header& header) { ++header.method; }},
                      Wrong{"ProtocolVersion", [](someip::Header& header) { ++header.protocolVersion; }},
                      Wrong{"RequestType", [](someip::Header& header) { header.type = 0x00; }},
                      Wrong{"NotificationType", [](someip::Header& header) { header.type = 0x02; }},
                      Wrong{"MagicCookie",
                            [](someip::Header& header) {
                                header = {0xFFFF, 0x8000, 0xDEAD, 0xBEEF, 1, 1, 2, 0};
                            }}),
    [](auto const& row) { return row.param.name; });

TEST_F(Client_alone_test, AnswerInAnotherInterfaceVersionEndsTheCallAsAFailureOfTransport) {
    begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    for (std::uint8_t const code : Bytes{0, 2, 0x80})
        for (std::uint8_t const version : Bytes{1, 3}) {
            someip::Header bad = answerTo(expectRequest(peer), code);
            bad.interfaceVersion = version;
            peer.send(frame(bad, {1}));
            Call_result const result = m_box->take().value();
            EXPECT_EQ(result.outcome, Call_outcome::transport);
            EXPECT_TRUE(result.payload.bytes().empty());
            EXPECT_EQ(result.detail, "tcp " + m_address.text() + ": the answer is of interface version " +
                                         std::to_string(version) + ", not 2");
            begin(m_tcp, ECHO);
        }
    peer.send(frame(answerTo(expectRequest(peer), 0), {1}));
    EXPECT_EQ(m_box->take().value().payload.bytes(), Bytes{1}) << "the connection stands";
}

TEST_F(Client_alone_test, RefusalOfTheInterfaceVersionMayComeInTheServersOwn) {
    begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    someip::Header refusal = answerTo(expectRequest(peer), someip::E_WRONG_INTERFACE_VERSION);
    refusal.interfaceVersion = 3;
    peer.send(frame(refusal));
    Call_result const result = m_box->take().value();
    EXPECT_EQ(result.outcome, Call_outcome::answered);
    EXPECT_EQ(result.return_code, someip::E_WRONG_INTERFACE_VERSION);
}

TEST_F(Client_alone_test, ErrorWithoutAReturnCodeIsNoGoodAnswer) {
    begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    someip::Header bad = answerTo(expectRequest(peer), 0);
    bad.type = 0x81;
    peer.send(frame(bad));
    Call_result const result = m_box->take().value();
    EXPECT_EQ(result.outcome, Call_outcome::transport);
    EXPECT_EQ(result.detail, "tcp " + m_address.text() + ": the answer is an error without a return code");
}

TEST_F(Client_alone_test, SecondAnswerIsDropped) {
    begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    someip::Header const good = answerTo(expectRequest(peer), 0);
    peer.send(frame(good, {1}));
    peer.send(frame(good, {2}));
    EXPECT_EQ(m_box->take().value().payload.bytes(), Bytes{1});

    begin(m_tcp, ECHO);
    peer.send(frame(answerTo(expectRequest(peer), 0), {3}));
    EXPECT_EQ(m_box->take().value().payload.bytes(), Bytes{3});
}

TEST_F(Client_alone_test, AnswerTornAfterEveryByteIsTaken) {
    begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    someip::Header header = expectRequest(peer);
    for (std::size_t at = 1; at < someip::HEADER_BYTES + 2; ++at) {
        Bytes const whole = frame(answerTo(header, 0), {1, 2});
        for (std::uint8_t const byte : whole) peer.send({byte});
        EXPECT_EQ(m_box->take().value().payload.bytes(), (Bytes{1, 2}));
        begin(m_tcp, ECHO);
        header = expectRequest(peer);
    }
}

TEST_F(Client_alone_test, ConnectionThatBreaksEndsItsCallsAndTheNextMakesANewOne) {
    begin(m_tcp, ECHO);
    {
        Raw_socket peer = m_listener.accept();
        expectRequest(peer);
    }
    Call_result const broken = m_box->take().value();
    EXPECT_EQ(broken.outcome, Call_outcome::transport);
    EXPECT_EQ(broken.detail.rfind("tcp " + m_address.text() + ": ", 0), 0U) << broken.detail;

    begin(m_tcp, ECHO);
    Raw_socket peer = m_listener.accept();
    peer.send(frame(answerTo(expectRequest(peer), 0)));
    EXPECT_EQ(m_box->take().value().outcome, Call_outcome::answered);
}

TEST_F(Client_alone_test, AnswerOfAnImpossibleLengthEndsTheConnection) {
    for (std::uint8_t const highest : {std::uint8_t{0x00}, std::uint8_t{0xFF}}) {
        begin(m_tcp, ECHO);
        Raw_socket peer = m_listener.accept();
        Bytes bytes = frame(answerTo(expectRequest(peer), 0));
        bytes[4] = highest;
        bytes[7] = 7;
        peer.send(bytes);
        Call_result const result = m_box->take().value();
        EXPECT_EQ(result.outcome, Call_outcome::transport);
        EXPECT_EQ(result.detail,
                  "tcp " + m_address.text() + ": the peer sent a message of an impossible length");
        EXPECT_TRUE(peer.isClosedByPeer());
    }
}

class Client_limits_test : public Client_alone_test {
protected:
    Client_limits_test()
        : Client_alone_test(R"({"call_limit_ms": 50, "message_bytes": 1000, "send_queue_bytes": 100000})") {}
};

TEST_F(Client_limits_test, CallWithoutAnAnswerEndsAtItsLimit) {
    Call_result const result = call(m_tcp, ECHO);
    EXPECT_EQ(result.outcome, Call_outcome::cancelled);
    EXPECT_EQ(result.detail, "tcp " + m_address.text() + ": no answer within 50 ms");
}

TEST_F(Client_limits_test, ServerThatNeverReadsNeverStopsTheClient) {
    for (int count = 0; count < 20'000; ++count) begin(m_tcp, ECHO, Bytes(1000));
    Raw_socket const peer = m_listener.accept();
    EXPECT_TRUE(eventually([this] { return m_box->count() == 20'000; }));
    EXPECT_TRUE(eventually([] { return counters().calls == 0; }));
}

}  // namespace
}  // namespace eb::com::runtime
