// A directory and a peer that says whatever the test wants: subscriptions, of either side.
#include "platform/com/discovery/Sd_peer_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;

/// Its subscriber, or its publisher.
class Sd_peer_subscriptions_test : public Sd_peer_test {};

TEST_F(Sd_peer_subscriptions_test, SubscriptionOfARebootedPublisherIsAskedForAnew) {
    say({entry(Type::offer)}, 20);
    sut.subscribe(0);
    pass(milliseconds(1));
    heard();
    say({answer(5)});
    EXPECT_EQ(sut.events(), Texts{"state 2"});
    say({entry(Type::offer)}, 1);
    auto const asked = heard();
    ASSERT_FALSE(asked.empty());
    EXPECT_EQ(asked.back().type, Type::subscribe);
    EXPECT_EQ(asked.back().ttl, 5U);
    say({answer(5)});
    EXPECT_EQ(sut.events(), Texts{"state 2"});
}

TEST_F(Sd_peer_subscriptions_test,
       SubscriptionThatARebootedPublisherMayHoldAlreadyIsTakenBackBeforeItIsAskedForAnew) {
    say({entry(Type::offer)}, 20);
    sut.subscribe(0);
    pass(milliseconds(1));
    EXPECT_EQ(heard().back().type, Type::subscribe);
    say({answer(5)}, 1);
    EXPECT_EQ(sut.where(0), "nowhere");
    heard();
    say({entry(Type::offer)});
    Sd_entry subscribe = entry(Type::subscribe);
    subscribe.tcp = Address{0x7F000001, 5555};
    Sd_entry stop = subscribe;
    stop.ttl = 0;
    EXPECT_EQ(heard(), (std::vector{stop, subscribe}));
    say({entry(Type::offer)});
    EXPECT_EQ(heard(), std::vector{subscribe}) << "a renewal";
}

TEST_F(Sd_peer_subscriptions_test,
       SubscriptionThatAPublisherWhoseOfferRanOutMayHoldIsTakenBackBeforeItIsAskedForAnew) {
    say({entry(Type::offer)});
    sut.subscribe(0);
    pass(milliseconds(5000));
    EXPECT_EQ(sut.where(0), "nowhere");
    heard();
    say({entry(Type::offer)});
    auto const asked = heard();
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[0].type, Type::subscribe);
    EXPECT_EQ(asked[0].ttl, 0U);
    EXPECT_EQ(asked[1].type, Type::subscribe);
    EXPECT_EQ(asked[1].ttl, 5U);
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionFromANewConnectionIsAskedForWithoutFurtherWords) {
    say({entry(Type::offer)});
    sut.subscribe(0);
    pass(milliseconds(5000));
    sut.unsubscribe(0);  // nobody is there who could be told
    heard();
    sut.subscribe(0, 7, 6666);
    say({entry(Type::offer)});
    auto const asked = heard();
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].tcp, (Address{0x7F000001, 6666}));
    EXPECT_EQ(asked[0].ttl, 5U);
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionThatWasTakenBackIsAskedForAnewWithoutFurtherWords) {
    say({entry(Type::offer)});
    heard();
    for (int count = 0; count < 2; ++count) {
        sut.subscribe(0);
        pass(milliseconds(1));
        auto const asked = heard();
        ASSERT_EQ(asked.size(), 1U);
        EXPECT_EQ(asked[0].ttl, 5U);
        sut.unsubscribe(0);
        pass(milliseconds(1));
        EXPECT_EQ(heard().at(0).ttl, 0U);
    }
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionIsRenewedWithEachOffer) {
    say({entry(Type::offer)});
    sut.subscribe(0);
    say({answer(5)});
    heard();
    say({entry(Type::offer)});
    auto const asked = heard();
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].tcp, (Address{0x7F000001, 5555}));
}

TEST_F(Sd_peer_subscriptions_test, AnswersOfStrangersAreNotTaken) {
    say({entry(Type::offer)});
    sut.subscribe(0);
    pass(milliseconds(1));
    auto const stranger = m_peer.bind({0x7F000001, 30496});
    Sd_message message;
    message.session = 1;
    message.entries = {answer(5)};
    stranger->send(encode(message), {0x7F000001, 30490});
    pass(milliseconds(1));
    EXPECT_EQ(sut.events(), Texts{});
}

TEST_F(Sd_peer_subscriptions_test, SubscriberIsAnsweredAndForgottenWhenItRebootsOrStops) {
    sut.offer(0);
    meet();
    say({entry(Type::subscribe)}, 20);
    EXPECT_EQ(heard().back(), answer(5));
    EXPECT_EQ(sut.events(), Texts{"initial to tcp 127.0.0.1:30600"});
    say({entry(Type::subscribe)});
    EXPECT_EQ(sut.events(), Texts{}) << "renewed";
    say({entry(Type::find, 0x7777)}, 1);
    EXPECT_EQ(sut.events(), Texts{"without tcp 127.0.0.1:30600"});
    say({entry(Type::subscribe)});
    Sd_entry stop = entry(Type::subscribe);
    stop.ttl = 0;
    say({stop, stop});
    EXPECT_EQ(sut.events(), (Texts{"initial to tcp 127.0.0.1:30600", "without tcp 127.0.0.1:30600"}));
}

TEST_F(Sd_peer_subscriptions_test, SubscriberThatStartsAgainEveryTwoSecondsGetsTheFieldsEachTime) {
    sut.offer(0);
    meet();
    for (int life = 0; life < 5; ++life) {
        SCOPED_TRACE(life);
        say({entry(Type::find)}, 1);
        say({entry(Type::subscribe)});
        EXPECT_EQ(heard().back(), answer(5));
        auto const events = sut.events();
        ASSERT_FALSE(events.empty());
        EXPECT_EQ(events.back(), "initial to tcp 127.0.0.1:30600");
        EXPECT_EQ(events.size(), life == 0 ? 1U : 2U) << "the one of the life before has gone";
        pass(milliseconds(2'000));
    }
}

TEST_F(Sd_peer_subscriptions_test, CopyOfASubscriptionIsNeitherAnsweredNorCountedAsARenewal) {
    sut.offer(0);
    meet();
    Sd_message message;
    message.session = 1;
    message.reboot = true;
    message.entries = {entry(Type::subscribe)};
    sayBytes(encode(message));
    EXPECT_EQ(repliesHeard(), 1U);
    sayBytes(encode(message));
    EXPECT_EQ(repliesHeard(), 0U);
    EXPECT_EQ(sut.events(), Texts{"initial to tcp 127.0.0.1:30600"});
    EXPECT_EQ(sut.report().peers[0].reboots, 0U);
}

TEST_F(Sd_peer_subscriptions_test, SubscriberThatStopsAndAsksInOneMessageGetsTheFieldsAgain) {
    sut.offer(0);
    meet();
    say({entry(Type::subscribe)});
    heard();
    Sd_entry stop = entry(Type::subscribe);
    stop.ttl = 0;
    say({stop, entry(Type::subscribe)});
    EXPECT_EQ(heard(), std::vector{answer(5)});
    EXPECT_EQ(sut.events(), (Texts{"initial to tcp 127.0.0.1:30600", "without tcp 127.0.0.1:30600",
                                   "initial to tcp 127.0.0.1:30600"}));
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionThatCannotBeTakenIsRefused) {
    sut.offer(0);
    meet();
    say({entry(Type::find, 0x7777)});
    heard();
    Sd_entry otherGroup = entry(Type::subscribe);
    otherGroup.eventgroup = 8;
    Sd_entry notOffered = entry(Type::subscribe);
    notOffered.instance = 2;
    Sd_entry stranger = entry(Type::subscribe, 0x7777);
    Sd_entry nowhere = entry(Type::subscribe);
    nowhere.tcp.reset();
    Sd_entry badAddress = entry(Type::subscribe);
    badAddress.tcp->ip = 0;
    for (Sd_entry const& bad : {otherGroup, notOffered, stranger, nowhere, badAddress}) {
        say({bad});
        auto const answers = heard();
        ASSERT_EQ(answers.size(), 1U);
        EXPECT_EQ(answers[0].type, Type::subscribeAck);
        EXPECT_EQ(answers[0].ttl, 0U);
        EXPECT_EQ(answers[0].eventgroup, bad.eventgroup);
    }
    EXPECT_EQ(sut.events(), Texts{});
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionBeforeItsConnectionIsAcknowledgedWhenThatIsAccepted) {
    sut.offer(0);
    meet();
    sut.answer = Subscribe_result::noConnection;
    say({entry(Type::subscribe)});
    heard();  // what somebody new is told
    pass(milliseconds(500));
    say({entry(Type::subscribe)});
    sut.connect(0, {0x7F000001, 30601});
    pass(milliseconds(1));
    EXPECT_EQ(repliesHeard(), 0U) << "somebody else's";
    sut.answer = Subscribe_result::accepted;
    sut.connect(0, {0x7F000001, 30600});
    pass(milliseconds(1));
    EXPECT_EQ(heard(), std::vector{answer(5)});
    EXPECT_EQ(sut.events(), Texts{"initial to tcp 127.0.0.1:30600"});
    sut.connect(0, {0x7F000001, 30600});
    pass(milliseconds(2'000));
    EXPECT_EQ(repliesHeard(), 0U) << "answered twice";
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionWhoseConnectionNeverComesIsRefusedAfterASecond) {
    sut.offer(0);
    meet();
    sut.answer = Subscribe_result::noConnection;
    say({entry(Type::subscribe)});
    heard();
    pass(milliseconds(600));
    say({entry(Type::subscribe)});  // repeated, which buys no time
    pass(milliseconds(397));
    EXPECT_EQ(repliesHeard(), 0U);
    pass(milliseconds(2));
    auto const answers = heard();
    ASSERT_FALSE(answers.empty());
    EXPECT_EQ(answers.back(), answer(0));
    sut.answer = Subscribe_result::accepted;
    sut.connect(0, {0x7F000001, 30600});
    pass(milliseconds(1));
    EXPECT_EQ(repliesHeard(), 0U);
    EXPECT_EQ(sut.events(), Texts{});
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionTakenBackBeforeItsConnectionIsNotAnswered) {
    Sd_entry stop = entry(Type::subscribe);
    stop.ttl = 0;
    for (int way = 0; way < 3; ++way) {
        SCOPED_TRACE(way);
        sut.answer = Subscribe_result::noConnection;
        sut.offer(0);
        meet();
        say({entry(Type::subscribe)}, 20);
        if (way == 0) say({stop});
        if (way == 1) say({entry(Type::find, 0x7777)}, 1);
        if (way == 2) sut.withdraw(0);
        sut.answer = Subscribe_result::accepted;
        sut.connect(0, {0x7F000001, 30600});
        pass(milliseconds(2'000));
        EXPECT_EQ(repliesHeard(), 0U);
        EXPECT_EQ(sut.events(), Texts{});
    }
}

TEST_F(Sd_peer_subscriptions_test, SubscriptionsThatWaitForTheirConnectionsAreBounded) {
    sut.offer(0);
    meet();
    sut.answer = Subscribe_result::noConnection;
    Sd_entry early = entry(Type::subscribe);
    for (std::size_t count = 0; count < Sd_early::WAITING + 3; ++count, ++early.tcp->port) say({early});
    EXPECT_EQ(repliesHeard(), 3U) << "refused at once";
    pass(milliseconds(1'000));
    EXPECT_EQ(repliesHeard(), Sd_early::WAITING);
}

}  // namespace
}  // namespace eb::com::runtime
