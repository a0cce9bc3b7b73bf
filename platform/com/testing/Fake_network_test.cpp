#include "platform/com/testing/Fake_network.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/com/testing/Fake_peer.h"

namespace eb::com::runtime::testing {
namespace {

using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t ONE = 0x7F000001;
constexpr std::uint32_t TWO = 0x7F000002;
constexpr Address AT_ONE{ONE, 1000};
constexpr Address AT_TWO{TWO, 1000};
constexpr Endpoint STREAM_AT_TWO{Transport::tcp, AT_TWO};
constexpr std::size_t QUEUE = 100'000;

class Fake_network_test : public ::testing::Test {
protected:
    /// A stream from one to two, as its two ends see it.
    std::pair<std::shared_ptr<Fake_channel>, std::shared_ptr<Fake_channel>> stream() {
        if (!m_listening) m_two.listen(AT_TWO);
        m_listening = true;
        auto const client = m_one.connect(STREAM_AT_TWO);
        m_clock.settle();
        return {client, m_two.accepted().back()};
    }

    std::uint64_t const m_seed = seedOfThisTest();
    Fake_clock m_clock;
    Fake_network sut{m_clock, m_seed};
    Fake_peer m_one{m_clock, sut, ONE, QUEUE};
    Fake_peer m_two{m_clock, sut, TWO, QUEUE};
    bool m_listening = false;
};

TEST_F(Fake_network_test, DatagramArrivesWithItsSendersAddress) {
    auto const one = m_one.bind(AT_ONE);
    auto const two = m_two.bind(AT_TWO);
    one->send({1, 2, 3}, AT_TWO);
    m_clock.settle();

    auto const got = two->take();
    ASSERT_EQ(got.size(), 1U);
    EXPECT_EQ(got[0].bytes, (Bytes{1, 2, 3}));
    EXPECT_EQ(got[0].from, AT_ONE);
    EXPECT_EQ(one->local(), AT_ONE);
}

TEST_F(Fake_network_test, ConnectedDatagramLinkHearsItsPeerAlone) {
    auto const server = m_two.bind(AT_TWO);
    auto const stranger = m_two.bind({TWO, 2000});
    auto const client = m_one.connect({Transport::udp, AT_TWO});
    client->send({1});
    m_clock.settle();
    Address const from = server->take().at(0).from;
    EXPECT_EQ(from, client->local());

    server->send({2}, from);
    stranger->send({3}, from);
    m_clock.settle();

    auto const got = client->take();
    ASSERT_EQ(got.size(), 1U);
    EXPECT_EQ(got[0].bytes, Bytes{2});
}

TEST_F(Fake_network_test, DatagramToNobodyVanishes) {
    auto const one = m_one.bind(AT_ONE);
    one->send({1}, AT_TWO);
    m_clock.settle();
    EXPECT_EQ(sut.traffic().unheard, 1U);
    EXPECT_FALSE(one->error());
}

TEST_F(Fake_network_test, AllMembersOfAGroupHear) {
    Address const group{0xEFFF0001, 1000};
    auto const loops = {std::make_shared<Loop>(), std::make_shared<Loop>()};
    std::vector<std::unique_ptr<Clock>> clocks;
    std::vector<std::shared_ptr<Fake_channel>> members;
    for (auto const& loop : loops) {
        clocks.push_back(m_clock.of(loop));
        auto const link = sut.host(TWO, loop)->bindGroup(group, TWO);
        members.push_back(std::make_shared<Fake_channel>(loop, link));
        link->start(members.back());
    }
    m_one.bind(AT_ONE)->send({7}, group);
    m_clock.settle();
    for (auto const& member : members) {
        EXPECT_EQ(member->stream(), Bytes{7});
        member->close();
    }
    for (auto const& loop : loops) loop->end({});
}

TEST_F(Fake_network_test, TakenPortIsRefusedAndFreeAgainWhenClosed) {
    auto const first = m_one.bind(AT_ONE);
    EXPECT_THROW(m_two.bind(AT_ONE), std::system_error);
    m_one.listen(AT_ONE);  // another protocol's ports
    EXPECT_THROW(m_two.listen(AT_ONE), std::system_error);
    EXPECT_EQ(sut.openPorts(), 2U);

    first->close();
    m_one.shut();
    EXPECT_EQ(sut.openPorts(), 0U);
    EXPECT_NO_THROW(m_two.bind(AT_ONE));
    EXPECT_NO_THROW(m_two.listen(AT_ONE));
}

TEST_F(Fake_network_test, StreamCarriesBothWaysInOrder) {
    auto const [client, server] = stream();
    EXPECT_TRUE(client->isConnected());
    for (std::uint8_t byte = 0; byte < 100; ++byte) client->send({byte});
    server->send({200, 201});
    m_clock.settle();

    Bytes expected(100);
    for (std::uint8_t byte = 0; byte < 100; ++byte) expected[byte] = byte;
    EXPECT_EQ(server->stream(), expected);
    EXPECT_EQ(client->stream(), (Bytes{200, 201}));
    EXPECT_GT(client->drains(), 0);
    EXPECT_EQ(client->local().ip, ONE);
    EXPECT_EQ(server->local(), AT_TWO);
    EXPECT_EQ(sut.streams(), 1U);
}

TEST_F(Fake_network_test, ConnectingToNobodyIsRefused) {
    auto const client = m_one.connect(STREAM_AT_TWO);
    m_clock.settle();
    EXPECT_EQ(client->error(), std::errc::connection_refused);
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(client->local(), Address{});
}

TEST_F(Fake_network_test, WhatWasSentBeforeTheConnectionArrives) {
    m_two.listen(AT_TWO);
    auto const client = m_one.connect(STREAM_AT_TWO);
    client->send({1, 2});
    m_clock.settle();
    EXPECT_EQ(m_two.accepted().at(0)->stream(), (Bytes{1, 2}));
}

TEST_F(Fake_network_test, EndOfSendingIsHeardAfterTheLastByteAndTheOtherWayStaysOpen) {
    auto const [client, server] = stream();
    client->send(Bytes(50'000, 1));
    client->with([](someip::Link& link) { link.endSending(); });
    m_clock.settle();
    EXPECT_EQ(server->stream().size(), 50'000U);
    EXPECT_TRUE(server->hasEnded());

    server->send({5});
    m_clock.settle();
    EXPECT_EQ(client->stream(), Bytes{5});
    EXPECT_FALSE(client->hasEnded());
}

TEST_F(Fake_network_test, ClosingIsHeardAsTheEndAndSendingAfterwardsAsAReset) {
    auto const [client, server] = stream();
    client->send({1});
    client->close();
    m_clock.settle();
    EXPECT_EQ(server->stream(), Bytes{1});
    EXPECT_TRUE(server->hasEnded());
    EXPECT_FALSE(server->error());

    server->send({2});
    m_clock.settle();
    EXPECT_EQ(server->error(), std::errc::connection_reset);
    EXPECT_EQ(sut.streams(), 0U);
}

TEST_F(Fake_network_test, DisconnectBreaksBothEnds) {
    auto const [client, server] = stream();
    sut.disconnect(ONE, 0x7F000003);
    m_clock.settle();
    EXPECT_FALSE(client->error());

    sut.disconnect(TWO, ONE);
    m_clock.settle();
    EXPECT_EQ(client->error(), std::errc::connection_reset);
    EXPECT_EQ(server->error(), std::errc::connection_reset);
}

TEST_F(Fake_network_test, PartitionLosesDatagramsAndHoldsStreamsBackUntilItHeals) {
    auto const one = m_one.bind(AT_ONE);
    auto const two = m_two.bind(AT_TWO);
    auto const [client, server] = stream();
    sut.partition(TWO, ONE);
    one->send({1}, AT_TWO);
    client->send({2});
    auto const late = m_one.connect(STREAM_AT_TWO);
    m_clock.advance(milliseconds(5000));
    EXPECT_EQ(two->count(), 0U);
    EXPECT_EQ(server->count(), 0U);
    EXPECT_FALSE(late->isConnected());

    sut.heal();
    m_clock.settle();
    EXPECT_EQ(two->count(), 0U);
    EXPECT_EQ(server->stream(), Bytes{2});
    EXPECT_TRUE(late->isConnected());
    EXPECT_EQ(sut.traffic().lost, 1U);
}

TEST_F(Fake_network_test, StalledReaderFillsTheWindowThenTheSendersQueueAndBreaksHim) {
    auto const [client, server] = stream();
    sut.stall(TWO);
    std::size_t taken = 0;
    while (taken <= Fake_network::WINDOW + QUEUE) {
        client->send(Bytes(1000));
        m_clock.settle();
        if (client->error()) break;
        taken += 1000;
    }
    EXPECT_EQ(client->error(), std::errc::no_buffer_space);
    EXPECT_GE(taken, Fake_network::WINDOW + QUEUE - 1000);
    EXPECT_EQ(server->count(), 0U);
}

TEST_F(Fake_network_test, StalledReaderThatGoesOnGetsEverything) {
    auto const [client, server] = stream();
    sut.stall(TWO);
    for (int count = 0; count < 100; ++count) client->send(Bytes(1000));
    m_clock.settle();
    int const drains = client->drains();
    sut.stall(TWO, false);
    m_clock.settle();
    EXPECT_EQ(server->stream().size(), 100'000U);
    EXPECT_EQ(client->drains(), drains + 1);
}

TEST_F(Fake_network_test, PausedLinkHearsNothingUntilItResumes) {
    auto const two = m_two.bind(AT_TWO);
    auto const [client, server] = stream();
    for (auto const& channel : {two, server}) channel->with([](someip::Link& link) { link.pause(); });
    client->send({1});
    m_one.bind(AT_ONE)->send({2}, AT_TWO);
    m_clock.settle();
    EXPECT_EQ(server->count() + two->count(), 0U);

    for (auto const& channel : {two, server}) channel->with([](someip::Link& link) { link.resume(); });
    m_clock.settle();
    EXPECT_EQ(server->stream(), Bytes{1});
    EXPECT_EQ(two->stream(), Bytes{2});
}

TEST_F(Fake_network_test, StreamIsCutIntoPieces) {
    auto const [client, server] = stream();
    Faults faults;
    faults.pieceBytes = 3;
    sut.set(faults);
    client->send({1, 2, 3, 4, 5, 6, 7});
    m_clock.settle();
    auto const pieces = server->take();
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(pieces[0].bytes, (Bytes{1, 2, 3}));
    EXPECT_EQ(pieces[2].bytes, Bytes{7});
}

TEST_F(Fake_network_test, LossAndDuplicatesComeAsOftenAsAskedFor) {
    auto const one = m_one.bind(AT_ONE);
    auto const two = m_two.bind(AT_TWO);
    Faults faults;
    faults.drop = 0.3;
    faults.duplicate = 0.1;
    sut.set(faults);
    for (int count = 0; count < 2000; ++count) {
        one->send({1}, AT_TWO);
        if (count % 100 == 0) m_clock.settle();
    }
    m_clock.settle();
    // Five and more standard deviations to each side.
    EXPECT_NEAR(static_cast<double>(sut.traffic().lost), 600, 130);
    EXPECT_NEAR(static_cast<double>(two->count()), 2000 * 0.7 * 1.1, 150);
    EXPECT_EQ(sut.traffic().sent, 2000U);
}

TEST_F(Fake_network_test, DelayAndReorderingShuffleDatagramsButNoStream) {
    auto const one = m_one.bind(AT_ONE);
    auto const two = m_two.bind(AT_TWO);
    auto const [client, server] = stream();
    Faults faults;
    faults.reorder = 0.5;
    faults.delayTo = milliseconds(2000);
    sut.set(faults);
    Bytes sent;
    for (std::uint8_t byte = 0; byte < 100; ++byte) {
        one->send({byte}, AT_TWO);
        client->send({byte});
        sent.push_back(byte);
    }
    m_clock.settle();
    EXPECT_LT(two->count(), 50U) << "they take their time";
    m_clock.advance(milliseconds(2020));

    EXPECT_EQ(server->stream(), sent);
    Bytes const got = two->stream();
    EXPECT_NE(got, sent);
    EXPECT_EQ(std::multiset<std::uint8_t>(got.begin(), got.end()),
              std::multiset<std::uint8_t>(sent.begin(), sent.end()));
}

TEST_F(Fake_network_test, SameSeedMakesTheSameLuck) {
    auto const luck = [&](std::uint64_t seed) {
        Fake_network network(m_clock, seed);
        Fake_peer from(m_clock, network, ONE);
        Fake_peer to(m_clock, network, TWO);
        Faults faults;
        faults.drop = 0.5;
        network.set(faults);
        auto const one = from.bind(AT_ONE);
        auto const two = to.bind(AT_TWO);
        for (std::uint8_t byte = 0; byte < 64; ++byte) one->send({byte}, AT_TWO);
        m_clock.settle();
        return two->stream();
    };
    EXPECT_EQ(luck(m_seed), luck(m_seed));
    EXPECT_NE(luck(m_seed), luck(m_seed + 1));
}

}  // namespace
}  // namespace eb::com::runtime::testing
