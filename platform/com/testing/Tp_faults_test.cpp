// Messages longer than a datagram between runtimes, over a network that loses, doubles and reorders segments.
#include <gtest/gtest.h>

#include "platform/com/someip/Tp_link.h"
#include "platform/com/testing/Fake_peer.h"
#include "platform/com/testing/Segments.h"
#include "platform/com/testing/Stack_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using someip::Tp_assembler;
using someip::Tp_link;
using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t SHORT = 4'000;    // three segments
constexpr std::size_t MIDDLE = 60'000;  // forty-four
constexpr std::size_t LONG = 1U << 20U;
constexpr std::uint32_t PEER = 0x7F000010;
constexpr milliseconds A_SECOND{1000};  // a message of each size is through by then, both ways

/// Services are where the manifest says.
class Tp_faults_test : public Stack_test {
protected:
    Tp_faults_test() : Stack_test({}) {}

    /// Calls Echo with that many bytes and lets the time pass. Whether it was answered with them.
    bool echoes(Fake_client& client, std::size_t size) {
        Bytes const bytes = pattern(size);
        int const call = client.call(FAKE_ECHO, bytes);
        client.catchUp();
        m_clock.advance(A_SECOND);
        client.catchUp();
        auto const results = client.results(call);
        return results.size() == 1 && results[0].outcome == Call_outcome::answered &&
               results[0].payload.bytes() == bytes;
    }
    /// Lets time pass until the service has taken a call; its reply is being sent then.
    void awaitEcho(Fake_service const& service) {
        for (int count = 0; service.echoes() == 0 && count < 1'000; ++count) m_clock.advance(Tp_link::PAUSE);
        ASSERT_EQ(service.echoes(), 1);
    }
    static someip::Header echo(std::uint16_t session) {
        someip::Header header;
        header.service = FAKE_UDP_ID;
        header.method = 1;
        header.client = 0x0666;
        header.session = session;
        header.interfaceVersion = 2;
        return header;
    }
    void sendTo(Fake_channel& channel, std::vector<Bytes> const& datagrams) {
        for (Bytes const& datagram : datagrams) channel.send(datagram, {SERVER, FAKE_PORT});
        m_clock.settle();
    }
};

TEST_F(Tp_faults_test, CallsAndRepliesOfEachSizePass) {
    Fake_service const service(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    for (std::size_t const size : {std::size_t{1'400}, std::size_t{1'401}, SHORT, MIDDLE, LONG})
        EXPECT_TRUE(echoes(client, size)) << size;
    EXPECT_EQ(counters().reassemblies, 0);
}

TEST_F(Tp_faults_test, LostSegmentsLoseTheirCallAloneWhichEndsOnceAtItsLimit) {
    Fake_service const service(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    for (std::size_t const size : {MIDDLE, LONG}) {
        SCOPED_TRACE(size);
        int const call = client.call(FAKE_ECHO, pattern(size));
        client.catchUp();
        m_network.partition(SERVER, CLIENT);
        m_clock.advance(Tp_link::PAUSE);  // takes some segments of the middle
        m_network.heal();
        int const other = client.call(FAKE_ECHO, {7});  // waits its turn behind the long one
        client.catchUp();
        m_clock.advance(A_SECOND);
        ASSERT_TRUE(eventually([&] { return !client.results(other).empty(); }));
        EXPECT_EQ(client.results(other).at(0).payload.bytes(), Bytes{7});
        EXPECT_EQ(counters().reassemblies, 1);
        m_clock.advance(Tp_assembler::SILENCE);
        EXPECT_EQ(counters().reassemblies, 0) << "what will never be whole is kept";

        EXPECT_TRUE(client.results(call).empty());
        m_clock.advance(Limits{}.callLimit);
        ASSERT_TRUE(eventually([&] { return !client.results(call).empty(); }));
        EXPECT_EQ(client.results(call).size(), 1U);
        EXPECT_EQ(client.results(call).at(0).outcome, Call_outcome::cancelled);
        EXPECT_TRUE(echoes(client, size));
    }
}

TEST_F(Tp_faults_test, LostSegmentsOfAReplyLoseItsCallAlone) {
    Fake_service service(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    int const call = client.call(FAKE_ECHO, pattern(MIDDLE));
    client.catchUp();
    awaitEcho(service);
    m_network.partition(SERVER, CLIENT);
    m_clock.advance(Tp_link::PAUSE);
    m_network.heal();
    m_clock.advance(Limits{}.callLimit);
    ASSERT_TRUE(eventually([&] { return !client.results(call).empty(); }));
    EXPECT_EQ(client.results(call).at(0).outcome, Call_outcome::cancelled);
    EXPECT_EQ(counters().reassemblies, 0);
    EXPECT_TRUE(echoes(client, MIDDLE));
    EXPECT_EQ(service.echoes(), 2);
}

TEST_F(Tp_faults_test, EveryCallEndsOnceWhateverShareOfTheSegmentsIsLost) {
    Fake_service const service(*m_server, OVER_UDP);
    constexpr int CALLS = 50;
    for (double const loss : {0.0, 0.01, 0.1, 0.3}) {
        SCOPED_TRACE(loss);
        Fake_client client(*m_client, OVER_UDP);
        Faults faults;
        faults.drop = loss;
        m_network.set(faults);
        for (int call = 0; call < CALLS; ++call) {
            client.call(FAKE_ECHO, pattern(SHORT, static_cast<std::uint32_t>(call)));
            client.catchUp();
            m_clock.advance(milliseconds(2));
        }
        m_clock.advance(Limits{}.callLimit);
        ASSERT_TRUE(eventually([&] { return client.ended() == CALLS; }));
        int answers = 0;
        for (int call = 0; call < CALLS; ++call) {
            auto const results = client.results(call);
            ASSERT_EQ(results.size(), 1U) << call;
            if (results[0].outcome != Call_outcome::answered) continue;
            EXPECT_EQ(results[0].payload.bytes(), pattern(SHORT, static_cast<std::uint32_t>(call)));
            ++answers;
        }
        // Six segments have to arrive; five and more standard deviations.
        EXPECT_GE(answers, loss == 0.3 ? 0 : loss == 0.1 ? 8 : loss == 0.01 ? 34 : CALLS);
        std::cout << "loss " << loss << ": " << answers << " of " << CALLS << " answered\n";
        m_network.set({});
        EXPECT_TRUE(echoes(client, SHORT));
        EXPECT_EQ(counters().reassemblies, 0);
    }
}

TEST_F(Tp_faults_test, DoubledAndReorderedSegmentsAnswerEachCallOnce) {
    Fake_service const service(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    Faults faults;
    faults.duplicate = 0.3;
    faults.reorder = 0.3;
    faults.delayTo = milliseconds(50);
    m_network.set(faults);
    for (std::size_t const size : {SHORT, MIDDLE, SHORT, MIDDLE, LONG})
        EXPECT_TRUE(echoes(client, size)) << size;
    m_clock.advance(2 * Tp_assembler::SILENCE);
    EXPECT_EQ(counters().reassemblies, 0) << "what came twice and too late is kept";
}

TEST_F(Tp_faults_test, SegmentsArePacedAndPeersTakeTurns) {
    Fake_service const service(*m_server, OVER_UDP);
    Fake_peer peers(m_clock, m_network, PEER);
    auto const one = peers.bind({PEER, 1000});
    auto const two = peers.bind({PEER, 1001});
    sendTo(*one, segmentsOf(echo(1), pattern(MIDDLE)));
    EXPECT_EQ(one->count(), Tp_link::BURST);
    sendTo(*two, segmentsOf(echo(1), pattern(MIDDLE)));
    EXPECT_EQ(two->count(), 0U) << "this millisecond's share is used up";
    for (std::size_t round = 1; round <= 8; ++round) {
        m_clock.advance(Tp_link::PAUSE);
        EXPECT_EQ(one->count(), Tp_link::BURST + round * Tp_link::BURST / 2);
        EXPECT_EQ(two->count(), round * Tp_link::BURST / 2);
    }
    m_clock.advance(A_SECOND);
    EXPECT_EQ(one->count(), 44U);
    EXPECT_EQ(two->count(), 44U);
}

TEST_F(Tp_faults_test, ShortMessageWaitsBehindALongOneToTheSamePeerOnly) {
    Fake_service const service(*m_server, OVER_UDP);
    Fake_peer peers(m_clock, m_network, PEER);
    auto const one = peers.bind({PEER, 1000});
    auto const two = peers.bind({PEER, 1001});
    sendTo(*one, segmentsOf(echo(1), pattern(MIDDLE)));
    sendTo(*one, {someip::encode(echo(2), {1})});
    sendTo(*two, {someip::encode(echo(1), {1})});
    EXPECT_EQ(two->count(), 1U);
    EXPECT_EQ(one->count(), Tp_link::BURST);
    m_clock.advance(A_SECOND);
    auto const received = one->take();
    ASSERT_EQ(received.size(), 45U);
    EXPECT_EQ(someip::readHeader(received.back().bytes.data()).session, 2);
}

TEST_F(Tp_faults_test, MessagesBeyondTheQueueAreLostAndCountedAndTheNextOneArrives) {
    Fake_service const service(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    auto const lost = counters().lostSegmented.load();
    std::vector<int> calls;
    for (int count = 0; count < 6; ++count) calls.push_back(client.call(FAKE_ECHO, Bytes(LONG)));
    client.catchUp();
    // Four mebibytes may wait, and some of the first has left.
    EXPECT_EQ(counters().lostSegmented - lost, 3);
    m_clock.advance(A_SECOND + Limits{}.callLimit);
    ASSERT_TRUE(eventually([&] { return client.ended() == calls.size(); }));
    for (std::size_t call = 0; call < calls.size(); ++call)
        EXPECT_EQ(client.results(calls[call]).at(0).outcome,
                  call < 3 ? Call_outcome::answered : Call_outcome::cancelled)
            << call;
    EXPECT_TRUE(echoes(client, LONG));
}

TEST_F(Tp_faults_test, MessagesForAllPeersTogetherAreBoundedToo) {
    Deployment deployment = fakeDeployment(SERVER, SERVER, {});
    deployment.limits.messageBytes = deployment.limits.sendQueueBytes = 20'000;
    m_server.reset();
    m_server = std::make_unique<Fake_process>(m_clock, m_network, SERVER, deployment);
    Fake_service const service(*m_server, OVER_UDP);
    Fake_peer peers(m_clock, m_network, PEER);
    auto const lost = counters().lostSegmented.load();
    std::vector<std::shared_ptr<Fake_channel>> channels;
    for (std::uint16_t port = 1000; port < 1006; ++port) {
        channels.push_back(peers.bind({PEER, port}));
        sendTo(*channels.back(), segmentsOf(echo(1), pattern(19'000)));
    }
    EXPECT_EQ(counters().lostSegmented - lost, 2) << "four times as much as for one may wait";
    m_clock.advance(A_SECOND);
    for (std::size_t number = 0; number < channels.size(); ++number)
        EXPECT_EQ(channels[number]->count(), number < Tp_link::QUEUES ? 14U : 0U) << number;
}

TEST_F(Tp_faults_test, ReplyThatIsBeingSentIsFinishedAfterTheOfferHasEnded) {
    Fake_service service(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    int const call = client.call(FAKE_ECHO, pattern(MIDDLE));
    client.catchUp();
    awaitEcho(service);
    service.withdraw();
    EXPECT_EQ(counters().connections, 1);
    m_clock.advance(A_SECOND);
    ASSERT_TRUE(eventually([&] { return !client.results(call).empty(); }));
    EXPECT_EQ(client.results(call).at(0).outcome, Call_outcome::answered);
    EXPECT_EQ(counters().connections, 0) << "the socket stays open";
}

TEST_F(Tp_faults_test, EndOfARuntimeInTheMiddleOfAMessageLeavesNothing) {
    auto service = std::make_unique<Fake_service>(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    int const call = client.call(FAKE_ECHO, pattern(LONG));
    client.catchUp();
    m_clock.advance(5 * Tp_link::PAUSE);
    EXPECT_EQ(counters().reassemblies, 1);
    service.reset();
    m_server.reset();
    EXPECT_EQ(counters().reassemblies, 0);
    m_client.reset();
    ASSERT_TRUE(eventually([&] { return !client.results(call).empty(); }));
}

/// With discovery, which subscribers need.
class Tp_events_faults_test : public Stack_test {
protected:
    Tp_events_faults_test() : Stack_test({SERVER, CLIENT, OTHER}) {}
};

TEST_F(Tp_events_faults_test, EventsAndFieldsOfEachSizeArriveInTheirOrderAndALostOneIsMissedAlone) {
    Fake_service service(*m_server, OVER_UDP);
    service.send(FAKE_FIELD, pattern(MIDDLE, 9));
    Fake_client client(*m_client, OVER_UDP);
    client.subscribe(FAKE_FIELD);
    client.subscribe(FAKE_TICK);
    m_clock.advance(4 * Discovery{}.cyclic);
    EXPECT_TRUE(eventually([&] {
        return client.samples(FAKE_FIELD) == std::vector<Bytes>{pattern(MIDDLE, 9)};
    })) << "the late subscriber's first value";

    std::vector<Bytes> sent;
    for (std::size_t const size : {SHORT, std::size_t{3}, MIDDLE, LONG, std::size_t{4}}) {
        sent.push_back(pattern(size, 2));
        service.send(FAKE_TICK, sent.back());
    }
    m_clock.settle();
    m_clock.advance(A_SECOND);
    EXPECT_TRUE(eventually([&] { return client.samples(FAKE_TICK) == sent; }));

    service.send(FAKE_TICK, pattern(MIDDLE, 3));
    m_clock.settle();
    m_network.partition(SERVER, CLIENT);
    m_clock.advance(Tp_link::PAUSE);
    m_network.heal();
    service.send(FAKE_TICK, pattern(MIDDLE, 4));
    sent.push_back(pattern(MIDDLE, 4));
    m_clock.settle();
    m_clock.advance(A_SECOND);
    EXPECT_TRUE(eventually([&] { return client.samples(FAKE_TICK) == sent; }));
    m_clock.advance(Tp_assembler::SILENCE);
    EXPECT_EQ(counters().reassemblies, 0);
}

}  // namespace
}  // namespace eb::com::runtime
