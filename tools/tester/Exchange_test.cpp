#include "tools/tester/Exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tester/FakeServices.h"

namespace tester {
namespace {

using eb::com::runtime::Call_outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using Bytes4 = std::vector<unsigned char>;

class ExchangeTest : public testing::Test {
protected:
    Exchange call(unsigned short method = 1) { return callMethod(port, method, patience, stop.get_token()); }

    FakePort port;
    Patience patience{milliseconds(20), milliseconds(1), 2};
    Patience const patienceOfHours{std::chrono::hours(1), std::chrono::hours(1), 2};
    std::stop_source stop;
};

TEST_F(ExchangeTest, AnswerComesBackAsItWasSent) {
    port.script = {FakePort::answered(0x04, {1, 2, 3})};
    Exchange const exchange = call();
    EXPECT_EQ(exchange.outcome, Outcome::ok);
    EXPECT_EQ(exchange.returnCode, 0x04);
    EXPECT_THAT(exchange.payload, ElementsAre(1, 2, 3));
    EXPECT_EQ(exchange.attempts, 1U);
    EXPECT_EQ(exchange.endpoint, "tcp 127.0.0.1:1");
    EXPECT_THAT(exchange.failures, ElementsAre());
    EXPECT_EQ(port.cancelled, 0U);
}

TEST_F(ExchangeTest, RequestIsAnEmptyMapForTheGivenMethod) {
    port.script = {FakePort::answered(0)};
    call(0);
    EXPECT_THAT(port.methods, ElementsAre(0));
    EXPECT_THAT(port.requests, ElementsAre(Bytes4{0, 0, 0, 0}));
}

TEST_F(ExchangeTest, TimeOutIsTriedOnceMoreAndThenTold) {
    Exchange const exchange = call();
    EXPECT_EQ(exchange.outcome, Outcome::timeOut);
    EXPECT_EQ(exchange.attempts, 2U);
    EXPECT_THAT(exchange.failures, ElementsAre("no answer within 20 ms", "no answer within 20 ms"));
    EXPECT_EQ(port.methods.size(), 2U);
    // And neither call is left open
    EXPECT_EQ(port.cancelled, 2U);
}

TEST_F(ExchangeTest, SecondAttemptIsAnswered) {
    port.script = {std::nullopt, FakePort::answered(0, {7})};
    Exchange const exchange = call();
    EXPECT_EQ(exchange.outcome, Outcome::ok);
    EXPECT_THAT(exchange.payload, ElementsAre(7));
    EXPECT_EQ(exchange.attempts, 2U);
    EXPECT_THAT(exchange.failures, ElementsAre("no answer within 20 ms"));
}

TEST_F(ExchangeTest, RepetitionWaitsForItsPause) {
    patience.retryPause = milliseconds(30);
    std::vector<std::chrono::steady_clock::time_point> calls;
    port.onCall = [&calls] { calls.push_back(std::chrono::steady_clock::now()); };
    call();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_GE(calls[1] - calls[0], milliseconds(50));
}

TEST_F(ExchangeTest, BrokenConnectionIsTriedOnceMore) {
    port.script = {FakePort::failed(Call_outcome::transport, "127.0.0.1:1: connection reset"),
                   FakePort::answered(0)};
    Exchange const exchange = call();
    EXPECT_EQ(exchange.outcome, Outcome::ok);
    EXPECT_THAT(exchange.failures, ElementsAre("127.0.0.1:1: connection reset"));
}

TEST_F(ExchangeTest, CallGivenUpByTheRuntimeIsTriedOnceMore) {
    port.script = {FakePort::failed(Call_outcome::cancelled, ""),
                   FakePort::failed(Call_outcome::cancelled, "")};
    Exchange const exchange = call();
    EXPECT_EQ(exchange.outcome, Outcome::cancelled);
    EXPECT_THAT(exchange.failures, ElementsAre("cancelled", "cancelled"));
}

TEST_F(ExchangeTest, ServiceThatIsNotThereIsNotTriedAgain) {
    port.script = {FakePort::failed(Call_outcome::not_available, "127.0.0.1:1: connection refused")};
    Exchange const exchange = call();
    EXPECT_EQ(exchange.outcome, Outcome::notAvailable);
    EXPECT_EQ(exchange.attempts, 1U);
    EXPECT_THAT(exchange.failures, ElementsAre("127.0.0.1:1: connection refused"));
}

TEST_F(ExchangeTest, ErrorCodeIsAnAnswerAndNotTriedAgain) {
    port.script = {FakePort::answered(0x80)};
    EXPECT_EQ(call().attempts, 1U);
}

TEST_F(ExchangeTest, InterruptionEndsTheWaitAtOnce) {
    // Given a call that would wait for an hour
    patience = patienceOfHours;
    // When the user interrupts while it waits
    port.onCall = [this] { stop.request_stop(); };
    Exchange const exchange = call();
    // Then it ends without a second attempt
    EXPECT_EQ(exchange.outcome, Outcome::interrupted);
    EXPECT_EQ(exchange.attempts, 1U);
    EXPECT_EQ(port.cancelled, 1U);
}

TEST_F(ExchangeTest, InterruptionEndsThePauseBeforeTheSecondAttempt) {
    patience = patienceOfHours;
    port.script = {FakePort::failed(Call_outcome::transport, "reset")};
    // When the interruption comes from another thread, during the wait or the pause
    std::jthread const user([this] { stop.request_stop(); });
    EXPECT_EQ(call().outcome, Outcome::interrupted);
}

TEST_F(ExchangeTest, LongWaitIsTold) {
    patience = patienceOfHours;
    std::vector<unsigned> attempts;
    milliseconds last{0};
    callMethod(port, 1, patience, stop.get_token(), [&](milliseconds soFar, unsigned attempt) {
        EXPECT_GT(soFar, last);
        last = soFar;
        attempts.push_back(attempt);
        if (attempts.size() == 2) stop.request_stop();
    });
    EXPECT_THAT(attempts, ElementsAre(1, 1));
}

TEST_F(ExchangeTest, LateAnswerAfterTheTimeOutMeetsNobody) {
    // Given a port whose answer function outlives the call
    class LatePort final : public eb::com::runtime::Client_port {
    public:
        binding_testing::Fake_call::Sent call(unsigned short, eb::com::runtime::Serialized_payload,
                                              Reply reply) override {
            kept.push_back(reply);
            return binding_testing::Fake_call::sent(
                std::make_shared<binding_testing::Fake_call>(std::move(reply)));
        }
        std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> subscribe(
            unsigned short /*event*/, std::weak_ptr<eb::com::runtime::Event_sink> /*sink*/) override {
            return nullptr;
        }
        std::string endpoint() const override { return "late"; }
        std::vector<Reply> kept;
    } late;
    // When both attempts have timed out and the answers come
    Exchange const exchange = callMethod(late, 1, patience, stop.get_token());
    for (auto const& reply : late.kept) reply(0, FakePort::bytes({1}));
    // Then nothing changes any more
    EXPECT_EQ(exchange.outcome, Outcome::timeOut);
    EXPECT_EQ(late.kept.size(), 2U);
}

}  // namespace
}  // namespace tester
