// A directory and a peer that says whatever the test wants: offers, searches, floods.
#include <set>

#include "platform/com/discovery/Sd_peer_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;

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

TEST_F(Sd_peer_test, OfferWithAnIpv6EndpointBesideItsIpv4OneIsFoundAtTheLatter) {
    Sd_message message;
    message.session = 1;
    message.entries = {entry(Type::offer)};
    auto bytes = encode(message);
    constexpr std::size_t IPV6_BYTES = 24;
    std::vector<std::uint8_t> const ipv6Header{0, IPV6_BYTES - 3, 0x06, 0, 0xFE, 0x80};
    bytes.insert(bytes.end(), ipv6Header.begin(), ipv6Header.end());
    bytes.resize(bytes.size() + IPV6_BYTES - ipv6Header.size());
    bytes[7] += IPV6_BYTES;                                        // length of the message
    bytes[SD_EMPTY_BYTES - 4 + 3 + SD_ENTRY_BYTES] += IPV6_BYTES;  // of its options
    bytes[SD_EMPTY_BYTES - 4 + 3] = 0x20;                          // the offer has two of them
    sayBytes(bytes);
    EXPECT_EQ(sut.where(0), "tcp 127.0.0.1:30600");
    EXPECT_EQ(sut.report().sd_malformed, 0U);
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

/// The same with a process of a multicast group at another address, which offers the first instance and has
/// announced it.
class Sd_group_test : public Sd_peer_test {
protected:
    void start(std::string const& requestResponseDelay, std::string const& initialDelay = "0") {
        group = std::make_unique<Process>(
            m_clock, m_network,
            deployment(
                R"({"mode": "multicast", "address": "127.0.0.3", "ttl_s": 36000, "cyclic_ms": 3600000, "initial_delay_ms": )" +
                span(initialDelay) + R"(, "request_response_delay_ms": )" + span(requestResponseDelay) +
                "}"));
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
