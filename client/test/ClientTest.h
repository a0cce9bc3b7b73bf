#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "binding/testing/Fresh_events.h"
#include "client/Listener.h"
#include "client/test/DataService.h"
#include "tests/support/Connector.h"
#include "tests/support/DiagLog.h"
#include "tests/support/Patience.h"

namespace client_test {

using zvg::val::diag_ara::services::diagnosticdatadistribution::field::Listener;

using test::PATIENCE;

// Messages.
constexpr int GET_ADAPTATION_REQ = 546;
constexpr int GET_ADAPTATION_RESP = 547;
constexpr int ADAPTATION_IND = 548;
constexpr int GET_ADAPTATIONSET_REQ = 549;
constexpr int GET_ADAPTATIONSET_RESP = 550;
constexpr int AVAILABILITY = 2943;

/// The adaptations, and their records.
constexpr unsigned A149 = 149, A255 = 255, A312 = 312, A316 = 316;
constexpr std::uint32_t R149 = 2640, R255 = 3167, R312 = 421, R316 = 1484;

/// Numbers as VAL messages carry them.
Bytes u16(unsigned number);
Bytes u32(unsigned number);
Bytes operator+(Bytes left, Bytes const& right);

/// Requests of Java.
Bytes setRequest(unsigned transactionId, std::vector<unsigned> const& ids);
inline Bytes request(unsigned id, unsigned transactionId) {
    return u32(id) + u32(transactionId);
}
/// Answers that Java gets.
inline Bytes setResponse(unsigned transactionId, Bytes const& items) {
    return u16(static_cast<unsigned>(items.size())) + u32(transactionId) + items;
}
inline Bytes item(unsigned id, Bytes const& value = {}) {
    return u32(id) + u16(static_cast<unsigned>(value.size())) + value;
}
inline Bytes response(unsigned id, unsigned transactionId, Bytes const& value = {}) {
    return u32(id) + u32(transactionId) + u16(static_cast<unsigned>(value.size())) + value;
}

/// Whether a condition holds, now or soon.
template <class Condition>
bool await(Condition condition) {
    auto const end = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

/// How long the client waits for a reply from now on; 60 seconds at the beginning of each test.
void setAnswerWait(std::chrono::milliseconds wait);

/// The bridge with the client as its only component, a fake Java side, and the remote service, all in this
/// process. The service isn't offered, and Java isn't registered, until the test says so.
class ClientTest : public testing::Test {
protected:
    ClientTest();
    void TearDown() override;

    void registerJava() { ASSERT_EQ(java.registerListener(), 0); }
    void unregisterJava() { EXPECT_EQ(java.unregister(), 0); }
    /// Offers the service and registers Java; returns when the initial read has ended. Forgets its traces.
    void bringUp();

    /// The live component.
    static Listener& listener();
    /// A share of its proxy, which lives on with it when the component has gone.
    static std::shared_ptr<Listener::Proxy> proxy();

    int write(int msgId, Bytes const& payload) { return java.write(msgId, payload); }
    /// Hands a message to the component, as the bridge does: exactly these bytes can be read.
    static int deliver(int msgId, Bytes const& payload);

    /// What Java got of one message, by now.
    std::vector<Bytes> messages(int msgId) const;
    /// The one message of that id that Java gets, now or soon.
    Bytes awaitMessage(int msgId) const { return awaitMessages(msgId, 1).at(0); }
    std::vector<Bytes> awaitMessages(int msgId, std::size_t count) const;

    /// Whether the log has the line so many times, now or soon.
    bool awaitLine(std::string const& text, std::size_t count = 1) const;
    std::size_t count(std::string const& text) const;
    /// Level and function of the only line with that text.
    test::Line line(std::string const& text) const;
    /// All texts so far, in order.
    std::vector<std::string> texts() const;
    /// Level and text of all lines of the client so far, in order.
    std::vector<std::string> story() const;

    binding_testing::Fresh_events<
        zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution::dataValuesHash::Notify> const
        fresh;
    test::DiagLog log;
    fake::Jvm jvm;
    fake::Connector java{jvm};
    DataService service;
};

}  // namespace client_test
