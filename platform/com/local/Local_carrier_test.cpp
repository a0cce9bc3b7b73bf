// Calls inside one process, through the public ports.
#include <gtest/gtest.h>
#include <unistd.h>

#include <ac/com/cpp_binding/proxy/Rport.h>

#include "binding/adapter/Platform_adapter.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Raw_socket.h"

namespace eb::com::runtime {
namespace {

using namespace testing;

class Local_carrier_test : public ::testing::Test {
protected:
    explicit Local_carrier_test(std::string const& limits = "{}")
        : m_runtime(makeRuntime(manifest(m_address, limits))) {}
    ~Local_carrier_test() override {
        EXPECT_TRUE(eventually([] { return counters().sessions == 0; })) << "a call is kept for ever";
    }

    std::shared_ptr<Method_call> begin(Method method, Bytes const& bytes = {}) {
        return ac::com::cpp_binding::adapter::call(
                   *m_client.client_port(), method, Serialized_payload(std::make_shared<Bytes>(bytes)),
                   [box = m_box](Call_result const& result) { box->put(result); })
            .get();
    }
    Call_result call(Method method, Bytes const& bytes = {}) {
        begin(method, bytes);
        return m_box->take().value();
    }

    Address const m_address = freeAddress();
    std::unique_ptr<ac::com::runtime::Component_singleton> m_runtime;
    Echo_service m_service{"test::Tcp"};
    ac::com::cpp_binding::proxy::Rport m_client{{{"test::Tcp"}, {"1"}}, {0x20000}};
    std::shared_ptr<Mailbox<Call_result>> m_box = std::make_shared<Mailbox<Call_result>>();
};

TEST_F(Local_carrier_test, AnswerComesWithoutASocket) {
    Call_result const result = call(ECHO, {1, 2});
    EXPECT_EQ(result.outcome, Call_outcome::answered);
    EXPECT_EQ(result.return_code, 0);
    EXPECT_EQ(result.payload.bytes(), (Bytes{1, 2}));
    EXPECT_EQ(m_client.client_port()->endpoint(), "local");
    EXPECT_EQ(counters().links, 0);
}

TEST_F(Local_carrier_test, ErrorOfTheServiceKeepsCodeAndPayload) {
    Call_result const result = call(FAIL);
    EXPECT_EQ(result.return_code, 2);
    EXPECT_EQ(result.payload.bytes(), Bytes{0x26});
}

TEST_F(Local_carrier_test, MethodWithoutAHandlerIsUnknown) {
    EXPECT_EQ(call(UNHANDLED).return_code, someip::E_UNKNOWN_METHOD);
}

TEST_F(Local_carrier_test, StoppedDispatcherIsNotReady) {
    m_service.dispatcher.stop();
    EXPECT_EQ(call(ECHO).return_code, someip::E_NOT_READY);
}

TEST_F(Local_carrier_test, WithdrawnServiceIsLookedForOnTheWire) {
    m_service.port.stop_offer();
    Call_result const result = call(ECHO);
    EXPECT_EQ(result.outcome, Call_outcome::not_available);
    EXPECT_EQ(result.detail, "tcp " + m_address.text() + ": Connection refused");
}

TEST_F(Local_carrier_test, MessagesBeyondTheBoundAreRefused) {
    EXPECT_EQ(call(ECHO, Bytes((1U << 20U) + 1)).outcome, Call_outcome::transport);
    EXPECT_EQ(call(BIG, {0x00, 0x10, 0x00, 0x01}).return_code, someip::E_NOT_OK);
    EXPECT_EQ(call(BIG, {0x00, 0x10, 0x00, 0x00}).payload.bytes().size(), 1U << 20U);
}

TEST_F(Local_carrier_test, AnswerRunsOnAThreadOfTheRuntime) {
    Mailbox<std::thread::id> thread;
    ac::com::cpp_binding::adapter::call(*m_client.client_port(), ECHO, {},
                                        [&](Call_result const&) { thread.put(std::this_thread::get_id()); });
    EXPECT_NE(thread.take().value(), std::this_thread::get_id());
}

TEST_F(Local_carrier_test, AnotherProcessesClientIsServedBesides) {
    Raw_socket peer({Transport::tcp, m_address});
    begin(HOLD);
    peer.send(frame(request(TCP_SERVICE, wire(ECHO)), {3}));
    EXPECT_EQ(peer.read()->payload.bytes(), Bytes{3});
    ASSERT_TRUE(eventually([this] { return m_service.held() == 1; }));
    m_service.takeHeld().front()(0, {});
    EXPECT_EQ(m_box->take().value().return_code, 0);
}

class Local_carrier_limits_test : public Local_carrier_test {
protected:
    Local_carrier_limits_test()
        : Local_carrier_test(
              R"({"outstanding_calls": 4, "message_bytes": 1000, "send_queue_bytes": 2000, "call_limit_ms": 15000})") {
    }
};

TEST_F(Local_carrier_limits_test, CallsAboveTheLimitWaitForTheOthers) {
    for (int count = 0; count < 10; ++count) begin(HOLD);
    std::size_t answered = 0;
    while (answered < 10) {
        ASSERT_TRUE(eventually([&] { return m_service.held() == std::min<std::size_t>(4, 10 - answered); }));
        for (auto const& reply : m_service.takeHeld()) {
            reply(0, {});
            ++answered;
        }
    }
    EXPECT_TRUE(eventually([this] { return m_box->count() == 10; }));
}

TEST_F(Local_carrier_limits_test, BytesThatWaitAreLimited) {
    for (int count = 0; count < 5; ++count) begin(HOLD, Bytes(1000));
    begin(HOLD, Bytes(1000));
    Call_result const refused = m_box->take().value();
    EXPECT_EQ(refused.outcome, Call_outcome::transport);
    EXPECT_EQ(refused.detail, "local: a request of 1000 bytes finds the queue full");
    for (std::size_t answered = 0; answered < 5;) {
        ASSERT_TRUE(eventually([this] { return m_service.held() != 0; }));
        answered += m_service.takeHeld().size();
    }
}

class Local_carrier_late_test : public Local_carrier_test {
protected:
    Local_carrier_late_test() : Local_carrier_test(R"({"call_limit_ms": 30})") {}
};

TEST_F(Local_carrier_late_test, CallWithoutAnAnswerEndsAtItsLimit) {
    Call_result const result = call(NEVER);
    EXPECT_EQ(result.outcome, Call_outcome::cancelled);
    EXPECT_EQ(result.detail, "local: no answer within 30 ms");
}

}  // namespace
}  // namespace eb::com::runtime
