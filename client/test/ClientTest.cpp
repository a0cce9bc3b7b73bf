#include "client/test/ClientTest.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

#include "client/AnswerWait.h"
#include "registry/Diag_Ara_Components_Services.h"

namespace client_test {
namespace {

std::atomic<std::chrono::milliseconds> answerWait{};
Listener* live = nullptr;  // of the thread that registers

/// The component keeps its proxy to itself. A class of the test's own above it would not do: its end would
/// change what the component is while the search may still call it.
std::shared_ptr<Listener::Proxy> proxyOf(Listener const& listener);
template <auto proxy>
struct Peek {
    friend std::shared_ptr<Listener::Proxy> proxyOf(Listener const& listener) { return (listener.*proxy)(); }
};
template struct Peek<&Listener::proxy>;

}  // namespace
}  // namespace client_test

namespace zvg::val::diag_ara::services {

// The product's rows of this component, and nobody else's.

ServiceTable& Diag_Ara_Components_Services::m_services =
    *new ServiceTable{{SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, [] {
                           auto made = std::make_unique<client_test::Listener>();
                           client_test::live = made.get();
                           return made;
                       }}};

RoutingTable& Diag_Ara_Components_Services::m_val_msg_ids = *new RoutingTable([] {
    RoutingTable rows;
    for (int const id : {546, 547, 548, 549, 586, 588, 600, 647})
        rows.emplace(SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, static_cast<unsigned short>(id));
    return rows;
}());

ServiceTable& Diag_Ara_Components_Services::getServices() {
    return m_services;
}

RoutingTable& Diag_Ara_Components_Services::getValMsgIds() {
    return m_val_msg_ids;
}

namespace diagnosticdatadistribution::field {

std::chrono::milliseconds answerWait() {
    return client_test::answerWait.load();
}

}  // namespace diagnosticdatadistribution::field
}  // namespace zvg::val::diag_ara::services

namespace client_test {

Bytes u16(unsigned number) {
    return {static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8U)};
}

Bytes u32(unsigned number) {
    return u16(number) + u16(number >> 16U);
}

Bytes operator+(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes setRequest(unsigned transactionId, std::vector<unsigned> const& ids) {
    Bytes request = u16(static_cast<unsigned>(ids.size())) + u32(transactionId);
    for (unsigned const id : ids) request = request + u32(id);
    return request;
}

void setAnswerWait(std::chrono::milliseconds wait) {
    answerWait = wait;
}

ClientTest::ClientTest() {
    setAnswerWait(std::chrono::minutes(1));
    // Known to be gone, whatever the runtime takes for granted of a service that it has not heard of.
    service.offer();
    service.withdraw();
}

void ClientTest::TearDown() {
    java.unregister();
    service.withdraw();
    EXPECT_THAT(jvm.violations(), testing::IsEmpty());
}

void ClientTest::bringUp() {
    service.offer();
    registerJava();
    ASSERT_TRUE(awaitLine("Message not sent to Java"));
    ASSERT_TRUE(await([] { return listener().processed(); }));
    log.clear();
    service.forgetRequests();
}

Listener& ClientTest::listener() {
    return *live;
}

std::shared_ptr<Listener::Proxy> ClientTest::proxy() {
    return proxyOf(*live);
}

int ClientTest::deliver(int msgId, Bytes const& payload) {
    // On the heap and not a byte longer, so that a reader who goes too far is caught.
    std::unique_ptr<unsigned char[]> const bytes(new unsigned char[payload.size()]);
    std::copy(payload.begin(), payload.end(), bytes.get());
    return live->handleMsg(msgId, static_cast<unsigned short>(payload.size()), bytes.get());
}

std::vector<Bytes> ClientTest::messages(int msgId) const {
    std::vector<Bytes> payloads;
    for (fake::Message const& message : jvm.messages()) {
        if (message.id == msgId) payloads.push_back(message.bytes);
    }
    return payloads;
}

std::vector<Bytes> ClientTest::awaitMessages(int msgId, std::size_t count) const {
    EXPECT_TRUE(await([&] { return messages(msgId).size() >= count; })) << "message " << msgId;
    auto payloads = messages(msgId);
    EXPECT_EQ(payloads.size(), count) << "message " << msgId;
    payloads.resize(count);
    return payloads;
}

bool ClientTest::awaitLine(std::string const& text, std::size_t times) const {
    return await([&] { return count(text) >= times; });
}

std::size_t ClientTest::count(std::string const& text) const {
    auto const all = texts();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), text));
}

test::Line ClientTest::line(std::string const& text) const {
    test::Line found{};
    for (test::Line& line : log.lines()) {
        if (line.text == text) found = std::move(line);
    }
    EXPECT_EQ(found.text, text);
    return found;
}

std::vector<std::string> ClientTest::texts() const {
    std::vector<std::string> texts;
    for (test::Line const& line : log.lines()) texts.push_back(line.text);
    return texts;
}

std::vector<std::string> ClientTest::story() const {
    std::vector<std::string> story;
    for (test::Line const& line : log.lines()) {
        if (line.prefix.find("Listener<") != std::string::npos)
            story.push_back(std::to_string(line.level) + ' ' + line.text);
    }
    return story;
}

}  // namespace client_test
