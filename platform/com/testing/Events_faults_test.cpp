// Events and fields between runtimes that find each other over a bad network.
#include <gtest/gtest.h>

#include "platform/com/discovery/Sd_message.h"
#include "platform/com/testing/Fake_peer.h"
#include "platform/com/testing/Stack_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;

milliseconds const TTL = Discovery{}.ttl;

/// Each test over TCP and over UDP, or over one of them.
class Events_faults_test : public Stack_test {
protected:
    Events_faults_test() : Stack_test({SERVER, CLIENT, OTHER}) {}

    void twoCycles() { m_clock.advance(2 * CYCLE); }
    /// Whether that is the last that came of the event.
    static bool hears(Fake_client& client, Fake_event event, Bytes const& value) {
        return eventually([&] {
            auto const samples = client.samples(event);
            return !samples.empty() && samples.back() == value;
        });
    }
    static bool hasField(Fake_client& client, Bytes const& value) { return hears(client, FAKE_FIELD, value); }
    static bool isSubscribed(Fake_client& client) {
        return eventually([&] { return client.state(FAKE_FIELD) == Event_state::subscribed; });
    }
    static Bytes number(int count) {
        return {static_cast<std::uint8_t>(count >> 8), static_cast<std::uint8_t>(count)};
    }
};

TEST_F(Events_faults_test, LateSubscriberGetsTheFieldsValueAndNoOldEvent) {
    for (char const* const interface : {OVER_TCP, OVER_UDP}) {
        SCOPED_TRACE(interface);
        Fake_service service(*m_server, interface);
        service.send(FAKE_FIELD, {1});
        service.send(FAKE_FIELD, {2});
        service.send(FAKE_TICK, {3});
        m_clock.advance(10 * CYCLE);

        Fake_client client(*m_client, interface);
        client.subscribe(FAKE_FIELD);
        client.subscribe(FAKE_TICK);
        twoCycles();
        EXPECT_TRUE(isSubscribed(client));
        EXPECT_TRUE(hasField(client, {2}));
        EXPECT_EQ(client.samples(FAKE_FIELD).size(), 1U);
        client.catchUp();
        EXPECT_TRUE(client.samples(FAKE_TICK).empty());
    }
}

TEST_F(Events_faults_test, EventsOverTcpComeOnceAndInOrderWhileDatagramsAreLostDoubledAndSlow) {
    Fake_service service(*m_server, OVER_TCP);
    Fake_client client(*m_client, OVER_TCP);
    client.subscribe(FAKE_TICK);
    twoCycles();
    ASSERT_TRUE(eventually([&] { return client.state(FAKE_TICK) == Event_state::subscribed; }));
    Faults faults;
    faults.drop = 0.1;
    faults.duplicate = 0.3;
    faults.delayFrom = faults.delayTo = milliseconds(300);
    faults.pieceBytes = 7;
    m_network.set(faults);
    std::vector<Bytes> sent;
    for (int count = 0; count < 200; ++count) {
        sent.push_back(number(count));
        service.send(FAKE_TICK, sent.back());
        m_clock.advance(milliseconds(50));
    }
    m_clock.advance(milliseconds(300));
    EXPECT_TRUE(eventually([&] { return client.samples(FAKE_TICK).size() >= sent.size(); }));
    EXPECT_EQ(client.samples(FAKE_TICK), sent);
    EXPECT_EQ(counters().subscribers, 1);
}

TEST_F(Events_faults_test, SubscriptionStandsAndEndsWhileDatagramsAreLost) {
    for (double const loss : {0.01, 0.1, 0.3})
        for (char const* const interface : {OVER_TCP, OVER_UDP}) {
            SCOPED_TRACE(std::string(interface) + " " + std::to_string(loss));
            Fake_service service(*m_server, interface);
            service.send(FAKE_FIELD, {1});
            Faults faults;
            faults.drop = loss;
            m_network.set(faults);
            {
                Fake_client client(*m_client, interface);
                client.subscribe(FAKE_FIELD);
                m_clock.advance(20 * CYCLE);
                m_network.set({});
                twoCycles();
                EXPECT_TRUE(isSubscribed(client));
                service.send(FAKE_FIELD, {2});
                m_clock.settle();
                EXPECT_TRUE(hasField(client, {2}));
                EXPECT_EQ(counters().subscribers, 1);
                m_network.set(faults);
            }
            m_clock.advance(TTL + CYCLE);
            EXPECT_EQ(counters().subscribers, 0) << "whose goodbye is lost runs out";
            m_network.set({});
        }
}

TEST_F(Events_faults_test, AfterAPartitionOfFiveSecondsTheFieldsValueIsTheNewest) {
    for (char const* const interface : {OVER_TCP, OVER_UDP}) {
        SCOPED_TRACE(interface);
        Fake_service service(*m_server, interface);
        Fake_client client(*m_client, interface);
        Fake_client other(*m_other, interface);
        client.subscribe(FAKE_FIELD);
        other.subscribe(FAKE_FIELD);
        service.send(FAKE_FIELD, {1});
        twoCycles();
        ASSERT_TRUE(hasField(client, {1}));

        m_network.partition(SERVER, CLIENT);
        m_clock.advance(milliseconds(2500));
        service.send(FAKE_FIELD, {2});
        m_clock.advance(milliseconds(3000));
        EXPECT_TRUE(hasField(other, {2}));
        EXPECT_TRUE(eventually([&] { return client.state(FAKE_FIELD) == Event_state::not_subscribed; }));
        m_network.heal();
        twoCycles();
        EXPECT_TRUE(isSubscribed(client));
        EXPECT_TRUE(hasField(client, {2}));
        service.send(FAKE_FIELD, {3});
        m_clock.settle();
        EXPECT_TRUE(hasField(client, {3}));
        EXPECT_EQ(counters().subscribers, 2);
    }
}

TEST_F(Events_faults_test, SubscriptionThatOvertakesItsConnectionIsAcknowledgedWhenThatIsThere) {
    Fake_service service(*m_server, OVER_TCP);
    service.send(FAKE_FIELD, {1});
    twoCycles();
    constexpr std::uint32_t EARLY = 0x7F000010;
    Fake_peer peer(m_clock, m_network, EARLY);
    auto const socket = peer.bind({EARLY, FAKE_SD_PORT});
    Faults slow;
    slow.delayFrom = slow.delayTo = milliseconds(100);
    m_network.set(slow);
    auto const stream = peer.connect({Transport::tcp, {SERVER, FAKE_PORT}});
    m_network.set({});

    Sd_message message;
    message.session = 1;
    message.reboot = true;
    Sd_entry& subscribe = message.entries.emplace_back();
    subscribe.type = Sd_entry::Type::subscribe;
    subscribe.service = FAKE_TCP_ID;
    subscribe.instance = 1;
    subscribe.major = 2;
    subscribe.eventgroup = FAKE_EVENTGROUP;
    subscribe.ttl = 5;
    subscribe.tcp = Address{EARLY, 49'152};  // the first of the network's own ports
    socket->send(encode(message), {SERVER, FAKE_SD_PORT});
    m_clock.advance(milliseconds(99));
    EXPECT_EQ(counters().subscribers, 0);
    socket->take();

    m_clock.advance(milliseconds(1));
    ASSERT_EQ(stream->local(), subscribe.tcp);
    EXPECT_EQ(counters().subscribers, 1);
    auto const answers = socket->take();
    ASSERT_EQ(answers.size(), 1U);
    Sd_message acknowledgement;
    acknowledgement.session = 2;  // the first told of the offer
    acknowledgement.reboot = true;
    acknowledgement.entries = {subscribe};
    acknowledgement.entries[0].type = Sd_entry::Type::subscribeAck;
    acknowledgement.entries[0].tcp.reset();
    EXPECT_EQ(answers[0].bytes, encode(acknowledgement));
    someip::Header field;
    field.service = FAKE_TCP_ID;
    field.method = 0x8001;
    field.session = 1;
    field.interfaceVersion = 2;
    field.type = 0x02;
    EXPECT_EQ(stream->stream(), someip::encode(field, {1}));
}

TEST_F(Events_faults_test, BrokenConnectionIsMadeAgainWithItsSubscription) {
    Fake_service service(*m_server, OVER_TCP);
    Fake_client client(*m_client, OVER_TCP);
    client.subscribe(FAKE_FIELD);
    twoCycles();
    for (std::uint8_t round = 1; round <= 10; ++round) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(isSubscribed(client));
        m_network.disconnect();
        m_clock.settle();
        service.send(FAKE_FIELD, {round});
        twoCycles();
        EXPECT_TRUE(hasField(client, {round}));
        EXPECT_EQ(counters().subscribers, 1);
    }
}

TEST_F(Events_faults_test, SubscriberThatNeverReadsIsDroppedAndOthersGetEverything) {
    Fake_service service(*m_server, OVER_TCP);
    Fake_client deaf(*m_client, OVER_TCP);
    Fake_client client(*m_other, OVER_TCP);
    deaf.subscribe(FAKE_TICK);
    client.subscribe(FAKE_TICK);
    twoCycles();
    ASSERT_EQ(counters().subscribers, 2);
    auto const dropped = counters().dropped.load();
    m_network.stall(CLIENT);
    Bytes sample(100'000);
    std::size_t sent = 0;
    while (counters().dropped == dropped && sent < 60) {
        sample[0] = static_cast<std::uint8_t>(++sent);
        service.send(FAKE_TICK, sample);
        m_clock.settle();
        ASSERT_TRUE(eventually([&] { return client.samples(FAKE_TICK).size() == sent; }));
    }
    EXPECT_EQ(counters().dropped, dropped + 1);
    EXPECT_EQ(counters().subscribers, 1);

    m_network.stall(CLIENT, false);
    m_clock.settle();
    twoCycles();
    EXPECT_EQ(counters().subscribers, 2);
    service.send(FAKE_TICK, {77});
    m_clock.settle();
    EXPECT_TRUE(hears(deaf, FAKE_TICK, {77}));
}

TEST_F(Events_faults_test, SubscriberThatVanishesIsForgottenAndOneThatReturnsIsServed) {
    for (char const* const interface : {OVER_TCP, OVER_UDP}) {
        SCOPED_TRACE(interface);
        Fake_service service(*m_server, interface);
        service.send(FAKE_FIELD, {1});
        for (int round = 0; round < 5; ++round) {
            auto client = std::make_unique<Fake_client>(*m_client, interface);
            client->subscribe(FAKE_FIELD);
            twoCycles();
            EXPECT_TRUE(hasField(*client, {1}));
            EXPECT_EQ(counters().subscribers, 1);
            client.reset();
            m_network.partition(SERVER, CLIENT);
            kill(m_client, CLIENT);
            if (round % 2 == 0) {
                m_clock.advance(TTL);
                EXPECT_EQ(counters().subscribers, 0);
            }
            m_client = start(CLIENT);
        }
    }
}

TEST_F(Events_faults_test, PublisherThatStartsAgainIsHeardAgain) {
    for (char const* const interface : {OVER_TCP, OVER_UDP}) {
        SCOPED_TRACE(interface);
        Fake_client client(*m_client, interface);
        client.subscribe(FAKE_FIELD);
        for (std::uint8_t round = 1; round <= 10; ++round) {
            SCOPED_TRACE(round);
            {
                Fake_service service(*m_server, interface);
                service.send(FAKE_FIELD, {round});
                twoCycles();
                EXPECT_TRUE(hasField(client, {round}));
                EXPECT_TRUE(isSubscribed(client));
                m_network.partition(SERVER, CLIENT);
            }
            kill(m_server, SERVER);
            m_server = start(SERVER);
        }
    }
}

}  // namespace
}  // namespace eb::com::runtime
