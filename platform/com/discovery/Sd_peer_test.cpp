// A directory and a peer that says whatever the test wants.
#include <algorithm>
#include <set>

#include "platform/com/discovery/Sd_directory_test.h"
#include "platform/com/testing/Fake_peer.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;

/// A peer made of messages alone, at 127.0.0.1:30495, and the process that it speaks with.
class Sd_peer_test : public Sd_directory_test {
protected:
    using Type = Sd_entry::Type;
    static constexpr Address PEER{0x7F000001, 30495};

    static Sd_entry entry(Type type, std::uint16_t service = 0x1001) {
        Sd_entry entry;
        entry.type = type;
        entry.service = service;
        entry.instance = 1;
        entry.major = 2;
        entry.ttl = 5;
        if (type == Type::offer) entry.minor = 0;
        if (entry.isEventgroupEntry()) entry.eventgroup = 7;
        if (type == Type::offer || type == Type::subscribe) entry.tcp = Address{0x7F000001, 30600};
        return entry;
    }
    void say(std::vector<Sd_entry> entries, std::uint16_t session = 0) {
        Sd_message message;
        message.session = session == 0 ? ++m_session : m_session = session;
        message.reboot = true;
        message.entries = std::move(entries);
        sayBytes(encode(message));
    }
    void sayBytes(std::vector<std::uint8_t> bytes) {
        m_socket->send(std::move(bytes), {0x7F000001, 30490});
        pass(milliseconds(1));
    }
    /// The entries that came back since the last call.
    std::vector<Sd_entry> heard() {
        std::vector<Sd_entry> entries;
        for (auto const& datagram : m_socket->take()) {
            someip::Frame_reader reader(datagram.bytes.size());
            reader.feed(datagram.bytes.data(), datagram.bytes.size());
            someip::Frame frame;
            std::string reason;
            EXPECT_EQ(reader.next(frame), someip::Frame_reader::Found::frame);
            auto const message = decode(frame, reason);
            EXPECT_TRUE(message) << reason;
            if (message) entries.insert(entries.end(), message->entries.begin(), message->entries.end());
        }
        return entries;
    }
    /// How many of them answer a subscription.
    std::size_t repliesHeard() {
        auto const entries = heard();
        return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [](auto const& entry) {
            return entry.type == Type::subscribeAck;
        }));
    }
    Sd_entry answer(std::uint32_t ttl) {
        Sd_entry answer = entry(Type::subscribeAck);
        answer.ttl = ttl;
        return answer;
    }

    Process sut{m_clock, m_network};
    Fake_peer m_peer{m_clock, m_network, 0x7F000001};
    std::shared_ptr<Fake_channel> m_socket = m_peer.bind(PEER);
    std::uint16_t m_session = 0;
};

TEST_F(Sd_peer_test, OffersEndpointIsWhereTheServiceIs) {
    say({entry(Type::offer)});
    EXPECT_EQ(sut.where(0), "tcp 127.0.0.1:30600");
    auto const report = sut.report();
    EXPECT_EQ(report.instances[0].offered_by, "127.0.0.1:30495");
    EXPECT_EQ(report.instances[0].ttl_left, milliseconds(4999));
    ASSERT_EQ(report.peers.size(), 1U);
    EXPECT_EQ(report.peers[0].offers, 1U);
    Sd_entry stop = entry(Type::offer);
    stop.ttl = 0;
    say({stop});
    EXPECT_EQ(sut.where(0), "nowhere");
}

TEST_F(Sd_peer_test, OffersThatCannotBeUsedAreCountedOnly) {
    Sd_entry stranger = entry(Type::offer, 0x7777);
    Sd_entry otherInstance = entry(Type::offer);
    otherInstance.instance = 9;
    Sd_entry otherMajor = entry(Type::offer);
    otherMajor.major = 3;
    Sd_entry nowhere = entry(Type::offer);
    nowhere.tcp.reset();
    Sd_entry otherTransport = nowhere;
    otherTransport.udp = Address{0x7F000001, 30600};
    say({stranger, otherInstance, otherMajor, nowhere, otherTransport});
    EXPECT_EQ(sut.where(0), "nowhere");
    EXPECT_EQ(sut.report().sd_ignored, 5U);

    for (std::uint32_t const ip : {0U, 0xE0000001U, 0xFFFFFFFFU}) {
        Sd_entry bad = entry(Type::offer);
        bad.tcp->ip = ip;
        say({bad});
    }
    EXPECT_EQ(sut.where(0), "nowhere");
    EXPECT_EQ(sut.report().sd_malformed, 3U);
}

TEST_F(Sd_peer_test, OffersOfARebootedPeerAreLostBeforeItIsHeard) {
    say({entry(Type::offer)}, 20);
    EXPECT_EQ(sut.where(0), "tcp 127.0.0.1:30600");
    say({entry(Type::find, 0x1002)}, 1);
    EXPECT_EQ(sut.where(0), "nowhere");
    say({entry(Type::offer)}, 2);
    EXPECT_EQ(sut.notices(),
              (Texts{"0 test::A tcp 127.0.0.1:30600 offer", "2  127.0.0.1:30495 rebooted",
                     "1 test::A tcp 127.0.0.1:30600 rebooted", "0 test::A tcp 127.0.0.1:30600 offer"}));
    EXPECT_EQ(sut.report().peers[0].reboots, 1U);
}

TEST_F(Sd_peer_test, SubscriptionOfARebootedPublisherIsAskedForAnew) {
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

TEST_F(Sd_peer_test, SubscriptionThatARebootedPublisherMayHoldAlreadyIsTakenBackBeforeItIsAskedForAnew) {
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

TEST_F(Sd_peer_test, SubscriptionThatAPublisherWhoseOfferRanOutMayHoldIsTakenBackBeforeItIsAskedForAnew) {
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

TEST_F(Sd_peer_test, SubscriptionFromANewConnectionIsAskedForWithoutFurtherWords) {
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

TEST_F(Sd_peer_test, SubscriptionThatWasTakenBackIsAskedForAnewWithoutFurtherWords) {
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

TEST_F(Sd_peer_test, SubscriptionIsRenewedWithEachOffer) {
    say({entry(Type::offer)});
    sut.subscribe(0);
    say({answer(5)});
    heard();
    say({entry(Type::offer)});
    auto const asked = heard();
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].tcp, (Address{0x7F000001, 5555}));
}

TEST_F(Sd_peer_test, AnswersOfStrangersAreNotTaken) {
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

TEST_F(Sd_peer_test, FindIsAnsweredAtOnceAndOnlyIfItMeansWhatIsOffered) {
    sut.offer(0);
    meet();
    say({entry(Type::find, 0x7777)});
    heard();
    Sd_entry any = entry(Type::find);
    any.instance = ANY_INSTANCE;
    any.major = ANY_MAJOR;
    Sd_entry otherInstance = entry(Type::find);
    otherInstance.instance = 2;
    Sd_entry otherMajor = entry(Type::find);
    otherMajor.major = 1;
    Sd_entry otherMinor = entry(Type::find);
    otherMinor.minor = 9;
    for (auto const& [find, answers] : std::initializer_list<std::pair<Sd_entry, std::size_t>>{
             {entry(Type::find), 1}, {any, 1}, {otherInstance, 0}, {otherMajor, 0}, {otherMinor, 0}}) {
        say({find, find});
        EXPECT_EQ(heard().size(), answers);
    }
}

/// The same with a process of a multicast group, which offers the first instance and has announced it.
class Sd_group_test : public Sd_peer_test {
protected:
    void start(std::string const& requestResponseDelay, std::string const& initialDelay = "0") {
        group = std::make_unique<Process>(
            m_clock, m_network,
            deployment(R"({"mode": "multicast", "ttl_s": 36000, "cyclic_ms": 3600000, "initial_delay_ms": )" +
                       span(initialDelay) + R"(, "request_response_delay_ms": )" +
                       span(requestResponseDelay) + "}"));
        group->offer(0);
        pass(milliseconds(2'000));
        heard();
    }
    /// Of "20" or "20,60".
    static std::string span(std::string const& text) {
        auto const comma = text.find(',');
        return R"({"min": )" + text.substr(0, comma) + R"(, "max": )" +
               (comma == std::string::npos ? text : text.substr(comma + 1)) + "}";
    }
    void askEverybody(Fake_channel& asker, std::vector<Sd_entry> entries) {
        Sd_message message;
        message.session = ++m_session;
        message.reboot = true;
        message.entries = std::move(entries);
        asker.send(encode(message), Discovery{}.group);
        m_clock.settle();
    }

    std::unique_ptr<Process> group;
    std::shared_ptr<Fake_channel> m_other = m_peer.bind({0x7F000001, 30496});
};

TEST_F(Sd_group_test, FindIsAnsweredToItsAskerAfterARandomDelay) {
    start("20,60");
    std::set<int> delays;
    for (int round = 0; round < 50; ++round) {
        askEverybody(*m_socket, {entry(Type::find)});
        int delay = 0;
        std::vector<Sd_entry> answers;
        for (; (answers = heard()).empty() && delay < 1'000; ++delay) pass(milliseconds(1));
        ASSERT_EQ(answers.size(), 1U) << "in round " << round;
        EXPECT_EQ(answers[0].type, Type::offer);
        EXPECT_EQ(answers[0].service, 0x1001);
        EXPECT_GE(delay, 20);
        EXPECT_LE(delay, 60);
        delays.insert(delay);
        pass(milliseconds(100));
        EXPECT_TRUE(heard().empty()) << "answered twice";
    }
    EXPECT_GT(delays.size(), 5U) << "41 delays are possible";
    EXPECT_EQ(m_other->count(), 0U) << "who didn't ask isn't answered";
}

TEST_F(Sd_group_test, FindFromSeveralIsAnsweredToEachOfThemByWhatIsOfferedThen) {
    start("20,60");
    askEverybody(*m_socket, {entry(Type::find), entry(Type::find)});
    askEverybody(*m_other, {entry(Type::find)});
    pass(milliseconds(19));
    EXPECT_EQ(heard().size() + m_other->count(), 0U);
    group->withdraw(0);
    group->offer(0);
    pass(milliseconds(100));
    EXPECT_EQ(heard().size(), 1U);
    EXPECT_EQ(m_other->count(), 1U);
}

TEST_F(Sd_group_test, EachAskerWaitsForItsOwnDelay) {
    start("20");
    askEverybody(*m_socket, {entry(Type::find)});
    pass(milliseconds(15));
    askEverybody(*m_other, {entry(Type::find)});
    pass(milliseconds(4));
    EXPECT_EQ(m_socket->count(), 0U);
    pass(milliseconds(1));
    EXPECT_EQ(m_socket->count(), 1U);
    pass(milliseconds(14));
    EXPECT_EQ(m_other->count(), 0U) << "it asked 15 ms later";
    pass(milliseconds(1));
    EXPECT_EQ(m_other->count(), 1U);
    pass(milliseconds(100));
    EXPECT_EQ(m_socket->count(), 1U);
}

TEST_F(Sd_group_test, WhatOneMessageAsksForIsAnsweredByOne) {
    start("20,60");
    group->offer(1);
    pass(milliseconds(2'000));
    Sd_entry second = entry(Type::find);
    second.instance = 2;
    for (int round = 0; round < 10; ++round) {
        askEverybody(*m_socket, {entry(Type::find), second});
        pass(milliseconds(100));
        EXPECT_EQ(m_socket->count(), 1U) << "in round " << round;
        EXPECT_EQ(heard().size(), 2U);
    }
}

TEST_F(Sd_group_test, AskerHearsOfWhatIsOfferedAnewByTheGroupIfItsAnswerIsDueBefore) {
    start("20", "50");
    auto const member = m_peer.join(Discovery{}.group);
    askEverybody(*m_socket, {entry(Type::find)});
    group->withdraw(0);
    pass(milliseconds(1));
    group->offer(0);
    pass(milliseconds(49));
    EXPECT_EQ(m_socket->count(), 0U) << "nobody is told of what isn't announced yet";
    EXPECT_EQ(member->count(), 2U) << "the question and the withdrawal";
    pass(milliseconds(1));
    EXPECT_EQ(member->count(), 3U);
}

TEST_F(Sd_peer_test, SubscriberIsAnsweredAndForgottenWhenItRebootsOrStops) {
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

TEST_F(Sd_peer_test, SubscriberThatStopsAndAsksInOneMessageGetsTheFieldsAgain) {
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

TEST_F(Sd_peer_test, SubscriptionThatCannotBeTakenIsRefused) {
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

TEST_F(Sd_peer_test, SubscriptionBeforeItsConnectionIsAcknowledgedWhenThatIsAccepted) {
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

TEST_F(Sd_peer_test, SubscriptionWhoseConnectionNeverComesIsRefusedAfterASecond) {
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

TEST_F(Sd_peer_test, SubscriptionTakenBackBeforeItsConnectionIsNotAnswered) {
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

TEST_F(Sd_peer_test, SubscriptionsThatWaitForTheirConnectionsAreBounded) {
    sut.offer(0);
    meet();
    sut.answer = Subscribe_result::noConnection;
    Sd_entry early = entry(Type::subscribe);
    for (std::size_t count = 0; count < Sd_early::WAITING + 3; ++count, ++early.tcp->port) say({early});
    EXPECT_EQ(repliesHeard(), 3U) << "refused at once";
    pass(milliseconds(1'000));
    EXPECT_EQ(repliesHeard(), Sd_early::WAITING);
}

TEST_F(Sd_peer_test, FloodOfStrangersShutsOutNeitherPublishersNorSubscribersNorSomebodyNew) {
    sut.offer(2);
    meet();
    say({entry(Type::offer)}, 20);
    auto const subscriber = m_peer.bind({0x7F000001, 30497});
    Sd_message message;
    message.session = 20;
    message.reboot = true;
    message.entries = {entry(Type::subscribe, 0x1002)};
    message.entries[0].udp = Address{0x7F000001, 30600};
    subscriber->send(encode(message), {0x7F000001, 30490});
    pass(milliseconds(1));
    EXPECT_EQ(sut.events(), Texts{"initial to udp 127.0.0.1:30600"});
    message.session = 1;
    message.entries = {entry(Type::find, 0x7777)};
    for (std::size_t count = 0; count < 2 * Sd_peers::PEERS; ++count) {
        auto const stranger = m_peer.bind({0x7F000009, static_cast<std::uint16_t>(count + 1)});
        stranger->send(encode(message), {0x7F000001, 30490});
        m_clock.settle();
        stranger->close();
    }
    EXPECT_EQ(sut.report().peers.size(), Sd_peers::PEERS);
    auto const latecomer = m_peer.bind({0x7F000001, 30496});
    message.entries = {entry(Type::find, 0x1002)};
    latecomer->send(encode(message), {0x7F000001, 30490});
    pass(milliseconds(1));
    EXPECT_EQ(latecomer->count(), 1U) << "answered";
    EXPECT_EQ(sut.where(0), "tcp 127.0.0.1:30600");
    say({entry(Type::find, 0x7777)}, 1);
    EXPECT_EQ(sut.where(0), "nowhere") << "its reboot is noticed";
    subscriber->send(encode(message), {0x7F000001, 30490});
    pass(milliseconds(1));
    EXPECT_EQ(sut.events(), Texts{"without udp 127.0.0.1:30600"}) << "and the subscriber's";
}

TEST_F(Sd_peer_test, FloodOfNonsenseIsCountedAndHarmsNothing) {
    Sd_message message;
    message.session = 1;
    message.entries = {entry(Type::offer)};
    auto const good = encode(message);
    std::uint64_t bad = 0;
    for (std::size_t round = 0; round < 50; ++round)
        for (std::size_t size = 0; size < good.size(); ++size, ++bad)
            m_socket->send({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)},
                           {0x7F000001, 30490});
    pass(milliseconds(1));
    EXPECT_EQ(sut.report().sd_malformed, bad);
    EXPECT_TRUE(sut.report().peers.empty());
    say({entry(Type::offer)});
    EXPECT_EQ(sut.where(0), "tcp 127.0.0.1:30600");
}

TEST_F(Sd_peer_test, SecondPeerWithTheSameEndpointReplacesTheFirst) {
    say({entry(Type::offer)});
    sut.notices();
    auto const second = m_peer.bind({0x7F000001, 30496});
    Sd_message message;
    message.session = 1;
    message.entries = {entry(Type::offer)};
    second->send(encode(message), {0x7F000001, 30490});
    pass(milliseconds(1));
    EXPECT_EQ(sut.notices(),
              (Texts{"1 test::A tcp 127.0.0.1:30600 rebooted", "0 test::A tcp 127.0.0.1:30600 offer"}));
    EXPECT_EQ(sut.report().instances[0].offered_by, "127.0.0.1:30496");
}

}  // namespace
}  // namespace eb::com::runtime
