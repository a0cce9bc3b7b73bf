// Who is known to service discovery, and what waits for whom: tables that a flood can't fill for good.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/com/discovery/Sd_answers.h"
#include "platform/com/discovery/Sd_early.h"
#include "platform/com/discovery/Sd_peers.h"
#include "platform/com/discovery/Sd_subscribers.h"

namespace eb::com::runtime {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class Sd_subscribers_test : public ::testing::Test {
protected:
    static Sd_subscribers::Subscriber subscriber(Service_deployment const& service, std::uint16_t port) {
        return {&service, 1, {Transport::udp, {0x7F000001, port}}};
    }
    Service_deployment const m_one{};
    Service_deployment const m_other{};
    Address const m_peer{0x7F000001, 30490};
    Address const m_second{0x7F000001, 30491};
    Sd_subscribers sut;
};

TEST_F(Sd_subscribers_test, RenewalBeginsItsTimeAnew) {
    EXPECT_TRUE(sut.add(subscriber(m_one, 1), m_peer, milliseconds(0), seconds(5)));
    EXPECT_FALSE(sut.add(subscriber(m_one, 1), m_peer, milliseconds(4000), seconds(5)));
    EXPECT_EQ(sut.due(), milliseconds(9000));
    EXPECT_TRUE(sut.removeExpired(milliseconds(8999)).empty());
    EXPECT_EQ(sut.removeExpired(milliseconds(9000)), std::vector{subscriber(m_one, 1)});
    EXPECT_FALSE(sut.due());
    EXPECT_TRUE(sut.add(subscriber(m_one, 1), m_peer, milliseconds(9001), seconds(5))) << "a new one again";
}

TEST_F(Sd_subscribers_test, SubscriptionForEverStays) {
    sut.add(subscriber(m_one, 1), m_peer, milliseconds(0), Discovery::FOR_EVER);
    EXPECT_FALSE(sut.due());
    EXPECT_TRUE(sut.removeExpired(milliseconds(INT64_MAX)).empty());
}

TEST_F(Sd_subscribers_test, EndsOneByOneWithItsPeerOrWithTheOffer) {
    auto const fill = [this] {
        sut.add(subscriber(m_one, 1), m_peer, milliseconds(0), seconds(5));
        sut.add(subscriber(m_other, 1), m_peer, milliseconds(1), seconds(5));
        sut.add(subscriber(m_one, 2), m_second, milliseconds(2), seconds(5));
    };
    fill();
    EXPECT_TRUE(sut.remove(subscriber(m_one, 1)));
    EXPECT_FALSE(sut.remove(subscriber(m_one, 1)));
    fill();
    EXPECT_EQ(sut.removeOf(m_peer).size(), 2U);
    EXPECT_EQ(sut.due(), milliseconds(5002));
    fill();
    EXPECT_EQ(sut.removeOf(m_one).size(), 2U);
    EXPECT_EQ(sut.removeOf(m_other).size(), 1U);
    EXPECT_FALSE(sut.due());
}

class Sd_peers_test : public ::testing::Test {
protected:
    using Heard = Sd_peers::Heard;

    Heard hear(std::uint16_t session, bool reboot = true, std::size_t hash = 0, bool multicast = false) {
        Sd_message message;
        message.session = session;
        message.reboot = reboot;
        return sut.hear(m_peer, multicast, message, hash, m_now);
    }
    /// With strangers, of which the first was silent for the longest time.
    void fill() {
        for (m_peer = {1, 1}; m_peer.port <= Sd_peers::PEERS; ++m_peer.port) hear(1);
    }

    Address m_peer{0x7F000001, 30490};
    milliseconds m_now{0};
    std::set<Address> m_partners;
    Sd_peers sut{[this] { return m_partners; }};
};

TEST_F(Sd_peers_test, SessionIdsCountFromOneForEachTarget) {
    sut.keep({1, 1});
    m_peer = {1, 2};
    hear(1);
    EXPECT_EQ(sut.next({1, 1}).session, 1);
    EXPECT_EQ(sut.next({1, 1}).session, 2);
    EXPECT_EQ(sut.next({1, 2}).session, 1);
}

TEST_F(Sd_peers_test, SessionIdsGoRoundToOneAndTheFlagEndsForGood) {
    for (int round = 0; round < 4; ++round)
        for (int session = 1; session <= 0xFFFF; ++session) {
            auto const stamp = sut.next({1, 1});
            ASSERT_EQ(stamp.session, session);
            ASSERT_EQ(stamp.reboot, round == 0);
        }
}

TEST_F(Sd_peers_test, RebootShowsInFlagAndSessionId) {
    struct {
        bool flagBefore;
        std::uint16_t before;
        bool flag;
        std::uint16_t session;
        Heard heard;
    } const rows[] = {
        {true, 100, true, 101, Heard::known},      {true, 100, true, 150, Heard::known},
        {true, 100, true, 1, Heard::rebooted},     {true, 100, true, 92, Heard::rebooted},
        {true, 100, true, 99, Heard::rebooted},    {true, 100, true, 100, Heard::rebooted},
        {true, 2, true, 1, Heard::rebooted},       {true, 1, true, 1, Heard::rebooted},
        {true, 0xFFFF, true, 1, Heard::rebooted},  {true, 0xFFFF, false, 1, Heard::known},
        {false, 0xFFFF, false, 1, Heard::known},   {false, 100, false, 101, Heard::known},
        {false, 100, false, 100, Heard::known},    {false, 100, false, 1, Heard::known},
        {false, 100, true, 101, Heard::rebooted},  {false, 100, true, 1, Heard::rebooted},
        {false, 0xFFFF, true, 1, Heard::rebooted},
    };
    for (auto const& row : rows)
        for (bool const multicast : {false, true}) {
            SCOPED_TRACE(std::to_string(row.before) + " " + std::to_string(row.session));
            ++m_peer.port;
            EXPECT_EQ(hear(row.before, row.flagBefore, 1, multicast), Heard::first);
            EXPECT_EQ(hear(row.session, row.flag, 2, multicast), row.heard);
        }
}

TEST_F(Sd_peers_test, CopyOfTheLastMessageWithinTheReorderingTimeIsNoReboot) {
    hear(1, true, 11);
    hear(2, true, 22);
    m_now = Sd_peers::REORDERING;
    EXPECT_EQ(hear(2, true, 22), Heard::copy);
    EXPECT_EQ(hear(2, true, 22), Heard::copy) << "and another one";
    EXPECT_EQ(sut.known().at(0).reboots, 0U);
    EXPECT_EQ(sut.known().at(0).heard, milliseconds(0)) << "a copy is no sign of life";
    EXPECT_EQ(hear(3, true, 33), Heard::known);
}

TEST_F(Sd_peers_test, SameMessageAfterTheReorderingTimeIsAReboot) {
    hear(1, true, 11);
    m_now = Sd_peers::REORDERING + milliseconds(1);
    EXPECT_EQ(hear(1, true, 11), Heard::rebooted) << "each life begins with the same words";
    m_now += Sd_peers::REORDERING;
    EXPECT_EQ(hear(1, true, 11), Heard::copy) << "of the new life's";
}

TEST_F(Sd_peers_test, OnlyTheLastMessageHasCopies) {
    hear(1, true, 11);
    hear(2, true, 22);
    EXPECT_EQ(hear(1, true, 11), Heard::rebooted);
    EXPECT_EQ(hear(2, true, 22), Heard::known);
    EXPECT_EQ(hear(2, true, 23), Heard::rebooted) << "the same session id with another message";
}

TEST_F(Sd_peers_test, CopyIsOfTheSameWay) {
    hear(1, true, 11, false);
    EXPECT_EQ(hear(1, true, 11, true), Heard::known) << "to the group as well";
    EXPECT_EQ(hear(1, true, 11, true), Heard::copy);
    EXPECT_EQ(hear(1, true, 11, false), Heard::copy);
}

TEST_F(Sd_peers_test, MessageThatWasOvertakenIsTakenForAReboot) {
    hear(4);
    EXPECT_EQ(hear(6), Heard::known);
    EXPECT_EQ(hear(5), Heard::rebooted);
    EXPECT_EQ(hear(7), Heard::known);
    EXPECT_EQ(sut.known().at(0).reboots, 1U);
}

TEST_F(Sd_peers_test, ShortLivesBehindOneAnotherAreAllHeardWithAllTheirMessages) {
    // Each process that starts at this address begins with the same search, and goes on with its own
    // messages. Of one whose first messages were lost the others are heard as well.
    for (std::uint16_t life = 0; life < 20; ++life) {
        SCOPED_TRACE(life);
        m_now += milliseconds(100);
        std::uint16_t const first = 1 + life % 4;
        EXPECT_EQ(hear(first, true, first), life == 0 ? Heard::first : Heard::rebooted);
        EXPECT_EQ(hear(first + 1, true, 100 + life), Heard::known);
        EXPECT_EQ(hear(first + 2, true, 33), Heard::known);
        if (first == 4) hear(99);
    }
}

TEST_F(Sd_peers_test, RebootIsNoticedOnce) {
    for (bool const multicast : {true, false}) {
        SCOPED_TRACE(multicast);
        ++m_peer.port;
        hear(50, true, 0, !multicast);
        hear(70, true, 0, multicast);
        EXPECT_EQ(hear(1, true, 0, multicast), Heard::rebooted);
        m_now += seconds(60);
        EXPECT_EQ(hear(1, true, 1, !multicast), Heard::known) << "the other count begins anew late";
        EXPECT_EQ(hear(2, true, 0, multicast), Heard::known);
        EXPECT_EQ(hear(2, true, 0, !multicast), Heard::known);
        EXPECT_EQ(sut.known().back().reboots, 1U);
    }
}

TEST_F(Sd_peers_test, RebootIsNoticedOnceAlsoWhenTheOtherSocketIsReadLater) {
    hear(70, true, 0, true);
    hear(50, true, 0, false);
    EXPECT_EQ(hear(1, true, 0, false), Heard::rebooted);
    m_now += Sd_peers::REORDERING;
    EXPECT_EQ(hear(71, true, 0, true), Heard::known) << "from before";
    EXPECT_EQ(hear(1, true, 0, true), Heard::known);
    EXPECT_EQ(hear(1, true, 1, true), Heard::rebooted) << "another one";
}

TEST_F(Sd_peers_test, EachOfTwoRebootsIsNoticed) {
    hear(50, true, 0, false);
    hear(3, true, 0, true);
    EXPECT_EQ(hear(1, true, 0, false), Heard::rebooted);
    m_now = Sd_peers::REORDERING + milliseconds(1);
    EXPECT_EQ(hear(4, true, 0, true), Heard::known) << "its first three messages to the group were lost";
    EXPECT_EQ(hear(1, true, 0, true), Heard::rebooted);
    EXPECT_EQ(hear(1, true, 1, false), Heard::known);
    EXPECT_EQ(hear(1, true, 2, false), Heard::rebooted);
}

TEST_F(Sd_peers_test, RebootIsNoticedInTheOtherCountIfThatWasNeverHeardBefore) {
    hear(50, true, 0, false);
    EXPECT_EQ(hear(1, true, 0, false), Heard::rebooted);
    EXPECT_EQ(hear(1, true, 0, true), Heard::known);
    EXPECT_EQ(hear(1, true, 1, true), Heard::rebooted);
}

TEST_F(Sd_peers_test, UnicastAndMulticastCountApart) {
    hear(50, true, 0, false);
    EXPECT_EQ(hear(3, true, 0, true), Heard::known);
    EXPECT_EQ(hear(51, true, 0, false), Heard::known);
}

TEST_F(Sd_peers_test, InAFullTableTheStrangerWhoWasSilentLongestMakesRoom) {
    fill();
    m_peer = {1, 1};
    EXPECT_EQ(hear(2), Heard::known) << "no longer the one that was silent longest";
    m_peer = {2, 1};
    EXPECT_EQ(hear(1), Heard::first);
    EXPECT_EQ(sut.known().size(), Sd_peers::PEERS);
    m_peer = {1, 1};
    EXPECT_EQ(hear(3), Heard::known);
    m_peer = {1, 2};
    EXPECT_EQ(hear(2), Heard::first) << "it made room";
}

TEST_F(Sd_peers_test, FloodOfStrangersShutsOutNeitherPartnersNorAnybodyNew) {
    Address const partner{0x7F000001, 30490};
    m_partners = {partner};
    m_peer = partner;
    EXPECT_EQ(hear(1), Heard::first);
    for (m_peer = {9, 0}; m_peer.port < 10 * Sd_peers::PEERS; ++m_peer.port) ASSERT_EQ(hear(1), Heard::first);
    EXPECT_EQ(sut.known().size(), Sd_peers::PEERS);
    m_peer = partner;
    EXPECT_EQ(hear(2), Heard::known);
    EXPECT_EQ(hear(1, true, 7), Heard::rebooted);
}

TEST_F(Sd_peers_test, PartnersTakeHalfOfTheTableForGoodAndTheRestUntilSomebodyNeedsIt) {
    fill();
    for (auto const& known : sut.known()) m_partners.insert(known.address);
    m_peer = {1, 1};
    EXPECT_EQ(hear(2), Heard::known);
    for (m_peer = {2, 1}; m_peer.port <= 10 * Sd_peers::PEERS; ++m_peer.port)
        ASSERT_EQ(hear(1), Heard::first);
    auto const known = sut.known();
    EXPECT_EQ(known.size(), Sd_peers::PEERS);
    EXPECT_EQ(std::count_if(known.begin(), known.end(),
                            [this](auto const& peer) { return m_partners.contains(peer.address); }),
              static_cast<std::ptrdiff_t>(Sd_peers::PEERS) - Sd_peers::STRANGERS);
    m_peer = {1, 1};
    EXPECT_EQ(hear(3), Heard::known) << "others were silent for longer";
}

TEST_F(Sd_peers_test, PeerThatWasSilentForLongIsNotTold) {
    hear(1);
    EXPECT_EQ(sut.heard(Sd_peers::MEMORY), std::vector{m_peer});
    EXPECT_TRUE(sut.heard(Sd_peers::MEMORY + milliseconds(1)).empty());
}

TEST_F(Sd_peers_test, NobodyWhoWasForgottenTakesUsForRebooted) {
    m_peer = {2, 1};
    hear(1);
    for (int count = 0; count < 100; ++count) sut.next(m_peer);
    fill();
    auto const unknown = sut.next({2, 1});
    EXPECT_EQ(unknown.session, 101) << "forgotten";
    EXPECT_TRUE(unknown.reboot);
    m_peer = {2, 1};
    hear(1);
    EXPECT_EQ(sut.next({2, 1}).session, 102) << "known again";
    EXPECT_EQ(sut.next({1, 9}).session, 1) << "who was known all the time";
}

TEST_F(Sd_peers_test, FixedTargetsAreNeverForgotten) {
    sut.keep({1, 1});
    m_peer = {1, 1};
    hear(1);
    EXPECT_EQ(sut.next(m_peer).session, 1);
    for (m_peer = {2, 1}; m_peer.port <= 2 * Sd_peers::PEERS; ++m_peer.port) {
        hear(1);
        for (int count = 0; count < 3; ++count) sut.next(m_peer);
    }
    EXPECT_EQ(sut.next({1, 1}).session, 2);
}

TEST(Sd_answers_test, EachIsDueAtItsOwnTimeAndWhoAsksTwiceIsAnsweredOnce) {
    Service_deployment const one{};
    Service_deployment const other{};
    Sd_answers sut;
    EXPECT_FALSE(sut.due());
    sut.add({1, 1}, one, milliseconds(30));
    sut.add({1, 2}, one, milliseconds(20));
    sut.add({1, 2}, one, milliseconds(90));
    sut.add({1, 2}, other, milliseconds(40));
    EXPECT_EQ(sut.due(), milliseconds(20));
    EXPECT_TRUE(sut.take(milliseconds(19)).empty());
    auto const first = sut.take(milliseconds(20));
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(first[0].asker, (Address{1, 2}));
    EXPECT_EQ(first[0].service, &one);
    EXPECT_EQ(sut.due(), milliseconds(30));
    EXPECT_EQ(sut.take(milliseconds(40)).size(), 2U);
    EXPECT_FALSE(sut.due());
}

TEST(Sd_answers_test, TooManyAreLeftOut) {
    Service_deployment const service{};
    Sd_answers sut;
    for (std::uint16_t port = 0; port < 2 * Sd_answers::WAITING; ++port)
        sut.add({1, port}, service, milliseconds(1));
    EXPECT_EQ(sut.take(milliseconds(1)).size(), Sd_answers::WAITING);
}

class Sd_early_test : public ::testing::Test {
protected:
    static Sd_request request(Service_deployment const& service, std::uint16_t port,
                              std::uint16_t peer = 30490) {
        return {{&service, 1, {Transport::tcp, {0x7F000001, port}}}, {0x7F000001, peer}, {}};
    }

    Service_deployment m_service{};
    Service_deployment m_other{};
    Sd_early sut;
};

TEST_F(Sd_early_test, WaitsForTheConnectionOfItsSubscriberToItsService) {
    m_other.endpoint.address.port = 7;
    sut.add(request(m_service, 1), milliseconds(0));
    sut.add(request(m_service, 2), milliseconds(0));
    sut.add(request(m_other, 1), milliseconds(0));
    EXPECT_TRUE(sut.takeConnected(m_service.endpoint, {0x7F000001, 3}).empty());
    auto const taken = sut.takeConnected(m_service.endpoint, {0x7F000001, 1});
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0].subscriber, request(m_service, 1).subscriber);
    EXPECT_EQ(sut.takeExpired(Sd_early::PATIENCE).size(), 2U);
    EXPECT_FALSE(sut.due());
}

TEST_F(Sd_early_test, RepetitionKeepsTheTimeAndReplacesTheEntry) {
    sut.add(request(m_service, 1), milliseconds(0));
    Sd_request again = request(m_service, 1);
    again.entry.counter = 3;
    EXPECT_TRUE(sut.add(again, milliseconds(600)));
    EXPECT_EQ(sut.due(), Sd_early::PATIENCE);
    EXPECT_TRUE(sut.takeExpired(Sd_early::PATIENCE - milliseconds(1)).empty());
    auto const expired = sut.takeExpired(Sd_early::PATIENCE);
    ASSERT_EQ(expired.size(), 1U);
    EXPECT_EQ(expired[0].entry, again.entry);
}

TEST_F(Sd_early_test, EndsWithItsPeerWithTheOfferOrOneByOne) {
    for (int way = 0; way < 3; ++way) {
        SCOPED_TRACE(way);
        sut.add(request(m_service, 1), milliseconds(0));
        sut.add(request(m_other, 2, 30491), milliseconds(0));
        if (way == 0) sut.removeOf(Address{0x7F000001, 30490});
        if (way == 1) sut.removeOf(m_service);
        if (way == 2) sut.remove(request(m_service, 1).subscriber);
        auto const left = sut.takeExpired(Sd_early::PATIENCE);
        ASSERT_EQ(left.size(), 1U);
        EXPECT_EQ(left[0].subscriber, request(m_other, 2).subscriber);
    }
}

TEST_F(Sd_early_test, TooManyMayNotWait) {
    for (std::uint16_t port = 1; port <= Sd_early::WAITING; ++port)
        EXPECT_TRUE(sut.add(request(m_service, port), milliseconds(0)));
    EXPECT_FALSE(sut.add(request(m_service, 999), milliseconds(0)));
    EXPECT_TRUE(sut.add(request(m_service, 1), milliseconds(0))) << "it waits already";
    EXPECT_EQ(sut.takeExpired(Sd_early::PATIENCE).size(), Sd_early::WAITING);
}

}  // namespace
}  // namespace eb::com::runtime
