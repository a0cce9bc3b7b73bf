// Notifications of a publisher, as other processes get them from its sockets.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <ac/com/cpp_binding/skeleton/Pport.h>

#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Eventgroups.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Event_services.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using ac::com::cpp_binding::skeleton::Pport;

class Notification_server_test : public ::testing::Test {
protected:
    explicit Notification_server_test(std::string const& limits = "{}")
        : m_component(makeRuntime(eventManifest(m_address, limits))) {
        m_tcp.start_offer();
        m_udp.start_offer();
    }
    ~Notification_server_test() override {
        m_tcp.stop_offer();
        m_udp.stop_offer();
        EXPECT_TRUE(eventually([] { return counters().subscribers == 0; })) << "a subscriber is kept";
    }

    Raw_socket connect(Transport transport) const { return Raw_socket({transport, m_address}); }
    /// What discovery does, on the io thread.
    template <class Result>
    Result onIo(std::function<Result(Eventgroups&)> const& task) const {
        Mailbox<Result> result;
        m_runtime->post([&] { result.put(task(m_runtime->eventgroups())); });
        return result.take().value();
    }
    Service_deployment const& row(std::string const& interface) const {
        return m_runtime->deploymentOf({interface}, {"1"});
    }
    Subscribe_result subscribe(std::string const& interface, Endpoint const& subscriber,
                               std::uint16_t eventgroup = 1) const {
        return onIo<Subscribe_result>(
            [&](Eventgroups& groups) { return groups.subscribe(row(interface), eventgroup, subscriber); });
    }
    /// Once the runtime has accepted its connection.
    void subscribe(Raw_socket const& peer, std::uint16_t eventgroup = 1) const {
        ASSERT_TRUE(eventually([&] {
            return subscribe("test::Tcp", {Transport::tcp, peer.local()}, eventgroup) ==
                   Subscribe_result::accepted;
        }));
    }
    void sendInitial(std::string const& interface, Endpoint const& subscriber) const {
        onIo<bool>([&](Eventgroups& groups) {
            groups.sendInitial(row(interface), 1, subscriber);
            return true;
        });
    }
    std::size_t subscribers(std::string const& interface, std::uint16_t eventgroup = 1) const {
        return onIo<std::size_t>(
            [&](Eventgroups& groups) { return groups.subscribers(row(interface), eventgroup); });
    }
    static void expect(Raw_socket& peer, std::uint16_t service, std::uint16_t event, std::uint16_t session,
                       Bytes const& bytes) {
        auto const got = peer.read();
        ASSERT_TRUE(got);
        EXPECT_EQ(got->header, (someip::Header{service, event, 0, session, 1, 2, 0x02, 0}));
        EXPECT_EQ(got->payload.bytes(), bytes);
    }

    Address const m_address = freeAddress();
    std::unique_ptr<ac::com::runtime::Component_singleton> m_component;
    std::shared_ptr<Process_runtime> const m_runtime = currentRuntime();
    Pport m_tcp{{"test::Tcp"}, {"1"}, {0x20000}};
    Pport m_udp{{"test::Udp"}, {"1"}, {0x20000}};
};

TEST_F(Notification_server_test, NotificationIsRightToTheByte) {
    Raw_socket const peer = connect(Transport::tcp);
    subscribe(peer);
    m_tcp.send_event(TICK, payloadOf({0xAB, 0xCD}));
    Bytes const expected = {0x11, 0x01, 0x80, 0x02, 0x00, 0x00, 0x00, 0x0A, 0x00,
                            0x00, 0x00, 0x01, 0x01, 0x02, 0x02, 0x00, 0xAB, 0xCD};
    EXPECT_EQ(peer.readBytes(expected.size()), expected);
}

TEST_F(Notification_server_test, SubscriberHearsTheEventsOfItsGroupNumberedEachByItself) {
    for (auto const& [transport, interface, service] :
         {std::tuple{Transport::tcp, "test::Tcp", TCP_EVENTS}, {Transport::udp, "test::Udp", UDP_EVENTS}}) {
        SCOPED_TRACE(interface);
        Pport& port = transport == Transport::tcp ? m_tcp : m_udp;
        Raw_socket peer = connect(transport);
        Endpoint const subscriber{transport, peer.local()};
        ASSERT_TRUE(eventually(
            [&, name = interface] { return subscribe(name, subscriber) == Subscribe_result::accepted; }));
        EXPECT_EQ(subscribers(interface), 1U);
        port.send_event(TICK, payloadOf({1}));
        port.send_event(OTHER, payloadOf({2}));
        port.send_event(FIELD, payloadOf({3}));
        port.send_event(TICK, payloadOf({4}));
        expect(peer, service, 0x8002, 1, {1});
        expect(peer, service, 0x8001, 1, {3});  // Other came before it, and is of another group
        expect(peer, service, 0x8002, 2, {4});
    }
}

TEST_F(Notification_server_test, InitialValuesAreThoseOfTheGroupsFields) {
    m_tcp.send_event(TICK, payloadOf({1}));
    Raw_socket peer = connect(Transport::tcp);
    subscribe(peer);
    sendInitial("test::Tcp", {Transport::tcp, peer.local()});
    m_tcp.send_event(FIELD, payloadOf({2}));
    expect(peer, TCP_EVENTS, 0x8001, 1, {2});  // the first: before it the field had no value
    sendInitial("test::Tcp", {Transport::tcp, peer.local()});
    expect(peer, TCP_EVENTS, 0x8001, 2, {2});
}

TEST_F(Notification_server_test, NoInitialValueGoesToAPeerThatIsNotSubscribed) {
    // Given a field with a value
    m_udp.send_event(FIELD, payloadOf({1}));
    Raw_socket late = connect(Transport::udp);
    Endpoint const subscriber{Transport::udp, late.local()};
    // When
    sendInitial("test::Udp", subscriber);
    // Then the first that comes is what follows the subscription
    EXPECT_EQ(subscribe("test::Udp", subscriber), Subscribe_result::accepted);
    m_udp.send_event(TICK, payloadOf({2}));
    auto const first = late.read();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->payload.bytes(), Bytes{2});
}

TEST_F(Notification_server_test, SessionsGoFrom65535To1) {
    Raw_socket peer = connect(Transport::tcp);
    subscribe(peer);
    for (std::uint32_t count = 1; count <= 0x10001; ++count) {
        m_tcp.send_event(TICK, {});
        auto const got = peer.read();
        ASSERT_TRUE(got);
        ASSERT_EQ(got->header.session, count <= 0xFFFF ? count : count - 0xFFFF);
    }
}

TEST_F(Notification_server_test, WhatCannotBeSubscribedIsRefusedWithItsReason) {
    Raw_socket const peer = connect(Transport::tcp);
    Endpoint const good{Transport::tcp, peer.local()};
    subscribe(peer);
    EXPECT_EQ(subscribe("test::Tcp", good, 3), Subscribe_result::noEventgroup);
    EXPECT_EQ(subscribe("test::Tcp", {Transport::udp, peer.local()}), Subscribe_result::wrongTransport);
    Address stranger = peer.local();
    ++stranger.ip;
    EXPECT_EQ(subscribe("test::Tcp", {Transport::tcp, stranger}), Subscribe_result::noConnection);
    EXPECT_EQ(subscribe("test::Tcp", good), Subscribe_result::accepted) << "again";
    EXPECT_EQ(subscribers("test::Tcp"), 1U);
    m_tcp.stop_offer();
    EXPECT_EQ(subscribe("test::Tcp", good), Subscribe_result::notOffered);
    EXPECT_EQ(subscribers("test::Tcp"), 0U);
}

TEST_F(Notification_server_test, UnsubscribedHearsNothing) {
    Raw_socket peer = connect(Transport::tcp);
    subscribe(peer);
    subscribe(peer, 2);
    onIo<bool>([&](Eventgroups& groups) {
        groups.unsubscribe(row("test::Tcp"), 1, {Transport::tcp, peer.local()});
        groups.unsubscribe(row("test::Tcp"), 7, {Transport::tcp, peer.local()});
        return true;
    });
    m_tcp.send_event(TICK, payloadOf({1}));
    m_tcp.send_event(OTHER, payloadOf({2}));
    expect(peer, TCP_EVENTS, 0x8003, 1, {2});  // the tick was sent before it
}

TEST_F(Notification_server_test, SubscriberWhoseConnectionHasGoneIsForgotten) {
    Raw_socket stays = connect(Transport::tcp);
    subscribe(stays);
    {
        Raw_socket const leaves = connect(Transport::tcp);
        subscribe(leaves);
        subscribe(leaves, 2);
        EXPECT_EQ(counters().subscribers, 3);
    }
    EXPECT_TRUE(eventually([] { return counters().subscribers == 1; }));
    m_tcp.send_event(TICK, payloadOf({1}));
    expect(stays, TCP_EVENTS, 0x8002, 1, {1});
}

TEST_F(Notification_server_test, WithdrawnServiceForgetsItsSubscribers) {
    Raw_socket peer = connect(Transport::udp);
    Endpoint const subscriber{Transport::udp, peer.local()};
    EXPECT_EQ(subscribe("test::Udp", subscriber), Subscribe_result::accepted);
    m_udp.stop_offer();
    m_udp.start_offer();
    m_udp.send_event(TICK, payloadOf({1}));
    // Then the first that comes is what follows the next subscription
    EXPECT_EQ(subscribe("test::Udp", subscriber), Subscribe_result::accepted);
    m_udp.send_event(TICK, payloadOf({2}));
    auto const first = peer.read();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->payload.bytes(), Bytes{2});
}

TEST_F(Notification_server_test, EventLongerThanTheBoundIsLostAndTheNextArrives) {
    Raw_socket peer = connect(Transport::udp);
    EXPECT_EQ(subscribe("test::Udp", {Transport::udp, peer.local()}), Subscribe_result::accepted);
    m_udp.send_event(TICK, payloadOf(Bytes((1U << 20U) + 1)));
    m_udp.send_event(TICK, payloadOf({1}));
    EXPECT_EQ(peer.read()->payload.bytes(), Bytes{1});
}

TEST_F(Notification_server_test, NotificationsSentToAServerAreDroppedAndHarmNothing) {
    Raw_socket peer = connect(Transport::tcp);
    subscribe(peer);
    for (int const event : {0x8001, 0x8002, 0xFFFE, 0x0001}) {
        someip::Header header = request(TCP_EVENTS, static_cast<std::uint16_t>(event));
        header.type = 0x02;
        peer.send(frame(header, {1, 2, 3}));
    }
    m_tcp.send_event(TICK, payloadOf({1}));
    expect(peer, TCP_EVENTS, 0x8002, 1, {1});  // nothing came before that
}

TEST_F(Notification_server_test, RequestForAnEventIsAnUnknownMethod) {
    Raw_socket peer = connect(Transport::tcp);
    peer.send(frame(request(TCP_EVENTS, 0x8001)));
    EXPECT_EQ(peer.read()->header, someip::answerTo(request(TCP_EVENTS, 0x8001), someip::E_UNKNOWN_METHOD));
}

class Notification_limits_test : public Notification_server_test {
protected:
    Notification_limits_test()
        : Notification_server_test(
              R"({"connections": 3, "message_bytes": 10000, "send_queue_bytes": 100000})") {}
};

TEST_F(Notification_limits_test, SubscriberThatNeverReadsIsDroppedWhileOthersGoOn) {
    Raw_socket const deaf = connect(Transport::tcp);
    Raw_socket good = connect(Transport::tcp);
    subscribe(deaf);
    subscribe(good);
    EXPECT_EQ(subscribers("test::Tcp"), 2U);
    std::uint16_t session = 0;
    for (int count = 0; count < 20'000 && subscribers("test::Tcp") == 2; ++count) {
        m_tcp.send_event(TICK, payloadOf(Bytes(10'000, 0x55)));
        expect(good, TCP_EVENTS, 0x8002, ++session, Bytes(10'000, 0x55));
    }
    EXPECT_EQ(subscribers("test::Tcp"), 1U);
    m_tcp.send_event(TICK, payloadOf({1}));
    expect(good, TCP_EVENTS, 0x8002, ++session, {1});
}

TEST_F(Notification_limits_test, SubscribersOfAGroupAreBounded) {
    for (std::uint16_t port = 1; port <= 4; ++port)
        EXPECT_EQ(subscribe("test::Udp", {Transport::udp, {m_address.ip, port}}),
                  port <= 3 ? Subscribe_result::accepted : Subscribe_result::tooMany);
    EXPECT_EQ(subscribe("test::Udp", {Transport::udp, {m_address.ip, 2}}), Subscribe_result::accepted);
    EXPECT_EQ(subscribe("test::Udp", {Transport::udp, {m_address.ip, 4}}, 2), Subscribe_result::accepted);
    EXPECT_EQ(subscribers("test::Udp"), 3U);
}

}  // namespace
}  // namespace eb::com::runtime
