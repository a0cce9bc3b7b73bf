// A directory and a peer that says whatever the test wants.
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

TEST_F(Sd_peer_test, FindByMulticastIsAnsweredToItsAskerAfterARandomDelay) {
    Process multicast(m_clock, m_network,
                      deployment(R"({"mode": "multicast", "ttl_s": 36000, "cyclic_ms": 3600000,
                                     "request_response_delay_ms": {"min": 20, "max": 60}})"));
    multicast.offer(0);
    pass(milliseconds(2'000));
    auto const other = m_peer.bind({0x7F000001, 30496});
    heard();
    std::set<int> delays;
    for (int round = 0; round < 50; ++round) {
        Sd_message message;
        message.session = ++m_session;
        message.reboot = true;
        message.entries = {entry(Type::find)};
        m_socket->send(encode(message), Discovery{}.group);
        int delay = 0;
        std::vector<Sd_entry> answers;
        for (m_clock.settle(); (answers = heard()).empty() && delay < 1'000; ++delay) pass(milliseconds(1));
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
    EXPECT_EQ(other->count(), 0U) << "who didn't ask isn't answered";
}

TEST_F(Sd_peer_test, FindByMulticastFromSeveralIsAnsweredToEachOfThem) {
    Process multicast(m_clock, m_network,
                      deployment(R"({"mode": "multicast", "ttl_s": 36000, "cyclic_ms": 3600000,
                                     "request_response_delay_ms": {"min": 20, "max": 60}})"));
    multicast.offer(0);
    pass(milliseconds(2'000));
    heard();
    auto const other = m_peer.bind({0x7F000001, 30496});
    Sd_message message;
    message.session = 1;
    message.reboot = true;
    message.entries = {entry(Type::find), entry(Type::find)};
    m_socket->send(encode(message), Discovery{}.group);
    other->send(encode(message), Discovery{}.group);
    pass(milliseconds(19));
    EXPECT_EQ(heard().size() + other->count(), 0U);
    multicast.withdraw(0);
    multicast.offer(0);  // what is offered when the answer is due counts
    pass(milliseconds(100));
    EXPECT_EQ(heard().size(), 1U);
    EXPECT_EQ(other->count(), 1U);
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
