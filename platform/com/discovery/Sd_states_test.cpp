// The state machines of service discovery, row by row, under a clock that the test commands.
#include <gtest/gtest.h>

#include "platform/com/discovery/Sd_offer.h"
#include "platform/com/discovery/Sd_search.h"
#include "platform/com/discovery/Sd_subscription.h"

namespace eb::com::runtime {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Times = std::vector<std::int64_t>;

constexpr milliseconds operator""_t(unsigned long long time) {
    return milliseconds(static_cast<std::int64_t>(time));
}

/// Three repetitions from 50 ms on, cyclic each 500 ms, 5 s to live.
Discovery const SETTINGS;

TEST(Sd_offer_test, IsAnnouncedAfterTheDelayInGrowingPausesThenAPeriodAfterEachTime) {
    Sd_offer sut(SETTINGS);
    sut.offer(1003_t, 7_t);
    Times announced;
    while (*sut.due() < 3000_t) {
        auto const now = *sut.due();
        ASSERT_FALSE(sut.tick(now - 1_t));
        ASSERT_TRUE(sut.tick(now));
        announced.push_back(now.count());
    }
    EXPECT_EQ(announced, (Times{1010, 1060, 1160, 1360, 1860, 2360, 2860}));
}

TEST(Sd_offer_test, WithoutRepetitionsItIsCyclicAtOnce) {
    Discovery settings;
    settings.repetitions = 0;
    Sd_offer sut(settings);
    sut.offer(10_t, 0_t);
    EXPECT_TRUE(sut.tick(10_t));
    EXPECT_EQ(sut.due(), 510_t);
}

TEST(Sd_offer_test, LateTickAnnouncesOnce) {
    Sd_offer sut(SETTINGS);
    sut.offer(0_t, 0_t);
    for (int count = 0; count < 5; ++count) sut.tick(*sut.due());
    EXPECT_TRUE(sut.tick(9'999_t));
    EXPECT_FALSE(sut.tick(9'999_t));
    EXPECT_EQ(sut.due(), 10'499_t);
}

TEST(Sd_offer_test, EndIsToldOnlyOfWhatWasAnnounced) {
    Sd_offer sut(SETTINGS);
    EXPECT_FALSE(sut.withdraw()) << "down";
    sut.offer(0_t, 5_t);
    EXPECT_FALSE(sut.isAnnounced());
    EXPECT_TRUE(sut.isInitiallyWaiting());
    EXPECT_FALSE(sut.withdraw()) << "initial wait";
    EXPECT_FALSE(sut.due());
    sut.offer(10_t, 5_t);
    sut.tick(15_t);
    EXPECT_TRUE(sut.isAnnounced());
    EXPECT_TRUE(sut.withdraw()) << "repetition";
    EXPECT_FALSE(sut.tick(10'000_t));
    sut.offer(20'000_t, 0_t);
    for (int count = 0; count < 6; ++count) sut.tick(*sut.due());
    EXPECT_TRUE(sut.withdraw()) << "main";
    EXPECT_FALSE(sut.withdraw());
}

TEST(Sd_offer_test, OfferOfAnOfferedInstanceChangesNothing) {
    Sd_offer sut(SETTINGS);
    sut.offer(0_t, 0_t);
    sut.tick(0_t);
    sut.offer(10_t, 0_t);
    EXPECT_EQ(sut.due(), 50_t);
}

class Sd_search_test : public ::testing::Test {
protected:
    using Change = Sd_search::Change;
    using Action = Sd_search::Action;

    Sd_found offer(milliseconds now, std::uint16_t peer = 30490, std::uint16_t port = 30509,
                   seconds ttl = seconds(5)) const {
        return {{0x7F000001, peer}, {Transport::tcp, {0x7F000001, port}}, now, ttl};
    }
    static constexpr Address PEER{0x7F000001, 30490};
    static constexpr Address OTHER{0x7F000001, 30491};
    Sd_search sut{SETTINGS};
};

TEST_F(Sd_search_test, UnwantedInstanceIsNotAskedFor) {
    EXPECT_FALSE(sut.due());
    EXPECT_EQ(sut.tick(100'000_t, 0_t), Action::none);
}

TEST_F(Sd_search_test, WantedInstanceIsAskedForAfterTheDelayInGrowingPauses) {
    sut.want(1000_t, 7_t);
    EXPECT_TRUE(sut.isInitiallyWaiting());
    Times asked;
    while (sut.due()) {
        auto const now = *sut.due();
        ASSERT_EQ(sut.tick(now - 1_t, 0_t), Action::none);
        ASSERT_EQ(sut.tick(now, 0_t), Action::findEverywhere);
        asked.push_back(now.count());
    }
    EXPECT_EQ(asked, (Times{1007, 1057, 1157, 1357}));
}

TEST_F(Sd_search_test, WishTakenBackEndsTheSearch) {
    sut.want(0_t, 5_t);
    sut.unwant();
    EXPECT_FALSE(sut.due());
    sut.want(0_t, 5_t);
    EXPECT_EQ(sut.due(), 5_t);
}

TEST_F(Sd_search_test, FoundInstanceIsNotAskedFor) {
    sut.offered(offer(0_t));
    sut.want(0_t, 5_t);
    EXPECT_EQ(sut.due(), 3000_t) << "only when its offer grows old";
}

TEST_F(Sd_search_test, OfferIsFoundInEveryPhaseOfTheSearch) {
    for (int phase = 0; phase < 4; ++phase) {
        SCOPED_TRACE(phase);
        Sd_search search{SETTINGS};
        if (phase > 0) search.want(0_t, 5_t);
        if (phase > 1) search.tick(5_t, 0_t);
        while (phase > 2 && search.due()) search.tick(*search.due(), 0_t);
        EXPECT_EQ(search.offered(offer(400_t)), Change::found);
        EXPECT_EQ(search.found()->peer, PEER);
        EXPECT_FALSE(search.isInitiallyWaiting());
    }
}

TEST_F(Sd_search_test, RenewedOfferLivesLonger) {
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.offered(offer(4000_t)), Change::renewed);
    EXPECT_EQ(sut.tick(8999_t, 0_t), Action::none);
    EXPECT_EQ(sut.tick(9000_t, 0_t), Action::ranOut);
    EXPECT_FALSE(sut.found());
    EXPECT_FALSE(sut.due()) << "nobody wants it";
}

TEST_F(Sd_search_test, OldOfferIsAskedForAtItsPeerAndThenRunsOut) {
    sut.want(0_t, 0_t);
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.tick(2999_t, 0_t), Action::none);
    EXPECT_EQ(sut.tick(3000_t, 0_t), Action::findAtPeer);
    EXPECT_EQ(sut.tick(3999_t, 0_t), Action::none);
    EXPECT_EQ(sut.tick(4000_t, 0_t), Action::findAtPeer);
    EXPECT_EQ(sut.tick(5000_t, 9_t), Action::ranOut);
    EXPECT_EQ(sut.due(), 5009_t) << "a new search";
    EXPECT_EQ(sut.tick(5009_t, 0_t), Action::findEverywhere);
}

TEST_F(Sd_search_test, OfferForEverDoesNotRunOut) {
    sut.want(0_t, 0_t);
    sut.offered(offer(0_t, 30490, 30509, Discovery::FOR_EVER));
    EXPECT_FALSE(sut.due());
    EXPECT_EQ(sut.tick(milliseconds(INT64_MAX / 2), 0_t), Action::none);
    EXPECT_TRUE(sut.found());
}

TEST_F(Sd_search_test, WithdrawnInstanceIsWaitedForInSilence) {
    sut.want(0_t, 0_t);
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.stopped(OTHER), Change::none) << "not his offer";
    EXPECT_EQ(sut.stopped(PEER), Change::lost);
    EXPECT_FALSE(sut.found());
    EXPECT_FALSE(sut.due());
    EXPECT_EQ(sut.stopped(PEER), Change::none);
    EXPECT_EQ(sut.offered(offer(10_t)), Change::found);
}

TEST_F(Sd_search_test, InstanceOfARebootedPeerIsSearchedAgain) {
    sut.want(0_t, 0_t);
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.rebooted(OTHER, 10_t, 3_t), Change::none);
    EXPECT_EQ(sut.rebooted(PEER, 10_t, 3_t), Change::lost);
    EXPECT_EQ(sut.due(), 13_t);
}

TEST_F(Sd_search_test, UnwantedInstanceOfARebootedPeerIsOnlyForgotten) {
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.rebooted(PEER, 10_t, 3_t), Change::lost);
    EXPECT_FALSE(sut.due());
}

TEST_F(Sd_search_test, SecondPeerDoesNotTakeAStandingOffer) {
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.offered(offer(1_t, 30491, 40000)), Change::none);
    EXPECT_EQ(sut.found()->peer, PEER);
    sut.tick(5000_t, 0_t);
    EXPECT_EQ(sut.offered(offer(5001_t, 30491, 40000)), Change::found);
}

TEST_F(Sd_search_test, SecondPeerAtTheSameEndpointHasTakenIt) {
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.offered(offer(1_t, 30491)), Change::replaced);
    EXPECT_EQ(sut.found()->peer, OTHER);
}

TEST_F(Sd_search_test, PeerThatMovesItsInstanceReplacesIt) {
    sut.offered(offer(0_t));
    EXPECT_EQ(sut.offered(offer(1_t, 30490, 40000)), Change::replaced);
    EXPECT_EQ(sut.found()->endpoint.address.port, 40000);
}

TEST_F(Sd_search_test, WishTakenBackKeepsWhatIsFound) {
    sut.want(0_t, 0_t);
    sut.offered(offer(0_t));
    sut.unwant();
    EXPECT_TRUE(sut.found());
    EXPECT_EQ(sut.due(), 5000_t) << "not asked for, but it runs out";
}

TEST(Sd_subscription_test, IsAskedForWhenTheInstanceIsFound) {
    Sd_subscription sut;
    EXPECT_EQ(sut.state(), Event_state::not_subscribed);
    EXPECT_FALSE(sut.due());
    EXPECT_TRUE(sut.found(0_t));
    EXPECT_EQ(sut.state(), Event_state::pending);
    EXPECT_FALSE(sut.found(0_t)) << "once";
    EXPECT_TRUE(sut.acknowledged(1_t, seconds(5)));
    EXPECT_EQ(sut.state(), Event_state::subscribed);
    EXPECT_FALSE(sut.acknowledged(2_t, seconds(5))) << "no change";
}

TEST(Sd_subscription_test, WithoutAnAnswerItIsAskedForInGrowingPauses) {
    Sd_subscription sut;
    sut.found(0_t);
    Times asked;
    while (asked.size() < 10) {
        auto const now = *sut.due();
        EXPECT_FALSE(sut.tick(now - 1_t).ask);
        auto const action = sut.tick(now);
        EXPECT_TRUE(action.ask);
        EXPECT_FALSE(action.changed);
        asked.push_back(now.count());
    }
    EXPECT_EQ(asked, (Times{100, 300, 700, 1500, 3100, 6300, 12700, 22700, 32700, 42700}));
}

TEST(Sd_subscription_test, IsRenewedWithEachOffer) {
    Sd_subscription sut;
    EXPECT_TRUE(sut.offered(0_t)) << "idle";
    EXPECT_TRUE(sut.offered(1_t)) << "pending";
    sut.acknowledged(2_t, seconds(5));
    EXPECT_TRUE(sut.offered(3_t)) << "subscribed";
    sut.refused(4_t);
    EXPECT_FALSE(sut.offered(5_t)) << "refused: in its own time";
}

TEST(Sd_subscription_test, WithoutOffersItIsRenewedBeforeItRunsOut) {
    Sd_subscription sut;
    sut.found(0_t);
    sut.acknowledged(0_t, seconds(5));
    EXPECT_FALSE(sut.tick(2999_t).ask);
    EXPECT_TRUE(sut.tick(3000_t).ask);
    EXPECT_TRUE(sut.tick(4000_t).ask);
    EXPECT_EQ(sut.state(), Event_state::subscribed);
    auto const action = sut.tick(5000_t);
    EXPECT_TRUE(action.ask && action.changed);
    EXPECT_EQ(sut.state(), Event_state::pending);
    EXPECT_TRUE(sut.acknowledged(5001_t, seconds(5)));
}

TEST(Sd_subscription_test, SubscriptionForEverNeedsNoRenewal) {
    Sd_subscription sut;
    sut.found(0_t);
    sut.acknowledged(0_t, Discovery::FOR_EVER);
    EXPECT_FALSE(sut.due());
}

TEST(Sd_subscription_test, RefusedOneIsAskedForAgainInPausesThatGrowWithEachRefusal) {
    Sd_subscription sut;
    sut.found(0_t);
    EXPECT_TRUE(sut.refused(1_t));
    EXPECT_TRUE(sut.isRefused());
    EXPECT_EQ(sut.state(), Event_state::not_subscribed);
    milliseconds last{0};
    for (int count = 0; count < 12; ++count) {
        auto const now = *sut.due();
        EXPECT_TRUE(sut.tick(now).ask);
        EXPECT_FALSE(sut.isAsked());
        EXPECT_FALSE(sut.refused(now)) << "no change";
        EXPECT_GE(*sut.due() - now, last);
        last = *sut.due() - now;
    }
    EXPECT_EQ(last, Sd_subscription::LONGEST_PAUSE);
    EXPECT_TRUE(sut.acknowledged(*sut.due(), seconds(5)));
}

TEST(Sd_subscription_test, LostInstanceIsForgottenAndAskedAnewWhenItIsBack) {
    for (int phase = 0; phase < 3; ++phase) {
        SCOPED_TRACE(phase);
        Sd_subscription sut;
        sut.found(0_t);
        if (phase == 1) sut.acknowledged(0_t, seconds(5));
        if (phase == 2) sut.refused(0_t);
        sut.lost();
        EXPECT_EQ(sut.state(), Event_state::not_subscribed);
        EXPECT_FALSE(sut.isAsked() || sut.isRefused());
        EXPECT_FALSE(sut.due());
        EXPECT_FALSE(sut.acknowledged(1_t, seconds(5))) << "an answer that comes late";
        EXPECT_FALSE(sut.refused(1_t));
        EXPECT_TRUE(sut.found(2_t));
        EXPECT_EQ(sut.due(), 2_t + Sd_subscription::FIRST_PAUSE);
    }
}

}  // namespace
}  // namespace eb::com::runtime
