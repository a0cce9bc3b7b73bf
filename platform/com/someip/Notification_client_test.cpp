// A subscriber's end of notifications: against a server that the test plays.
#include <gtest/gtest.h>

#include "platform/com/deployment/Manifest.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/testing/Event_services.h"

namespace eb::com::runtime {
namespace {

using namespace testing;

/// Without discovery a subscription stays pending, but what comes of its eventgroup is heard.
class Notification_client_test : public ::testing::Test {
protected:
    ~Notification_client_test() override {
        m_subscriptions.clear();
        EXPECT_TRUE(eventually([] { return counters().subscriptions == 0; }));
        m_runtime->end();
        EXPECT_EQ(counters().links, 0);
    }

    std::shared_ptr<Recorder> subscribe(Event event, std::string const& interface = "test::Tcp") {
        auto sink = std::make_shared<Recorder>();
        auto const port = m_runtime->connect(m_runtime->deploymentOf({interface}, {"1"}));
        m_subscriptions.push_back(port->subscribe(event, sink));
        return sink;
    }
    static someip::Header notification(std::uint16_t event, std::uint16_t service = TCP_EVENTS) {
        return {service, event, 0, 1, 1, 2, 0x02, 0};
    }

    Address const m_address = freeAddress();
    Raw_listener m_listener{m_address};
    std::shared_ptr<Process_runtime> const m_runtime =
        std::make_shared<Process_runtime>(parseManifest(eventManifest(m_address), "test"));
    std::vector<std::shared_ptr<Service_finder::Subscription_handle>> m_subscriptions;
};

TEST_F(Notification_client_test, NotificationReachesTheSinksOfItsEvent) {
    auto const one = subscribe(TICK);
    auto const two = subscribe(TICK);
    auto const other = subscribe(OTHER);
    EXPECT_TRUE(one->hears({"available", "pending"}));
    Raw_socket const peer = m_listener.accept();
    peer.send(frame(notification(0x8002), {1, 2}));
    peer.send(frame(notification(0x8003), {3}));
    EXPECT_TRUE(one->hears({"1 2"}));
    EXPECT_TRUE(two->hears({"available", "pending", "1 2"}));
    EXPECT_TRUE(other->hears({"available", "pending", "3"}));
    EXPECT_EQ(counters().links, 1) << "all share one connection";
}

TEST_F(Notification_client_test, LateSinkGetsTheFieldsValueThatCameBefore) {
    auto const early = subscribe(FIELD);
    Raw_socket const peer = m_listener.accept();
    peer.send(frame(notification(0x8001), {1}));
    EXPECT_TRUE(early->hears({"available", "pending", "1"}));
    EXPECT_TRUE(subscribe(FIELD)->hears({"available", "pending", "1"}));
    EXPECT_TRUE(subscribe(TICK)->hears({"available", "pending"}));
}

TEST_F(Notification_client_test, WhatIsNoGoodNotificationIsDropped) {
    auto const sink = subscribe(TICK);
    Raw_socket const peer = m_listener.accept();
    EXPECT_TRUE(sink->hears({"available", "pending"}));
    using Spoil = std::function<void(someip::Header&)>;
    for (Spoil const& spoil : std::initializer_list<Spoil>{
             [](auto& header) { header.protocolVersion = 2; },
             [](auto& header) { header.interfaceVersion = 3; }, [](auto& header) { header.type = 0x00; },
             [](auto& header) { header.type = 0x01; }, [](auto& header) { header.type = 0x80; },
             [](auto& header) { header.type = 0x22; }, [](auto& header) { header.code = 1; },
             [](auto& header) { header.service = UDP_EVENTS; }, [](auto& header) { header.service = 0x7777; },
             [](auto& header) { header.method = 0x0002; }, [](auto& header) { header.method = 0x8009; },
             [](auto& header) { header.method = 0x8003; },
             [](auto& header) { header = {0xFFFF, 0x8000, 0xDEAD, 0xBEEF, 1, 1, 2, 0}; }}) {
        someip::Header header = notification(0x8002);
        spoil(header);
        peer.send(frame(header, {0xBA}));
    }
    peer.send(frame(notification(0x8002), {1}));
    EXPECT_TRUE(sink->hears({"1"}));
}

TEST_F(Notification_client_test, NotificationOfAnImpossibleLengthEndsTheConnectionAndANewOneIsMade) {
    auto const sink = subscribe(TICK);
    for (Bytes const& length : {Bytes{0, 0, 0, 7}, Bytes{0xFF, 0, 0, 0}}) {
        Raw_socket const peer = m_listener.accept();
        Bytes bytes = frame(notification(0x8002), {1});
        std::copy(length.begin(), length.end(), bytes.begin() + 4);
        peer.send(bytes);
        EXPECT_TRUE(peer.isClosedByPeer());
    }
    Raw_socket const peer = m_listener.accept();
    peer.send(frame(notification(0x8002), {2}));
    EXPECT_TRUE(sink->hears({"available", "pending", "2"}));
}

TEST_F(Notification_client_test, ConnectionThatBreaksIsMadeAgain) {
    auto const sink = subscribe(TICK);
    { Raw_socket const first = m_listener.accept(); }
    Raw_socket const second = m_listener.accept();
    second.send(frame(notification(0x8002), {1}));
    EXPECT_TRUE(sink->hears({"available", "pending", "1"}));
}

TEST_F(Notification_client_test, NotificationsWithoutASubscriptionAreDropped) {
    auto const sink = subscribe(TICK);
    Raw_socket const peer = m_listener.accept();
    EXPECT_TRUE(sink->hears({"available", "pending"}));
    m_subscriptions.clear();
    ASSERT_TRUE(eventually([] { return counters().subscriptions == 0; }));
    peer.send(frame(notification(0x8002), {1}));
    auto const again = subscribe(OTHER);
    peer.send(frame(notification(0x8002), {2}));
    peer.send(frame(notification(0x8003), {3}));
    EXPECT_TRUE(again->hears({"available", "pending", "3"}));
    EXPECT_TRUE(sink->notices().empty());
}

TEST_F(Notification_client_test, NotificationTornAfterEveryByteIsHeard) {
    auto const sink = subscribe(TICK);
    Raw_socket const peer = m_listener.accept();
    for (std::uint8_t const byte : frame(notification(0x8002), {1, 2})) peer.send({byte});
    EXPECT_TRUE(sink->hears({"available", "pending", "1 2"}));
}

}  // namespace
}  // namespace eb::com::runtime
