// What passes between a member and its speaker, and what a speaker does with members that misbehave.
#include "platform/com/discovery/Sd_relay.h"

#include "platform/com/discovery/Sd_asked.h"
#include "platform/com/discovery/Sd_speaker.h"
#include "platform/com/discovery/Sd_voice_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using Bytes = std::vector<std::uint8_t>;
using Kind = Sd_relay::Kind;
using std::chrono::milliseconds;
using std::chrono::seconds;

Bytes bytesOf(Sd_relay const& relay) {
    Bytes bytes;
    append(bytes, relay);
    return bytes;
}

TEST(Sd_relay_test, EachKindComesOutAsItWentInHoweverTheStreamIsCut) {
    Sd_entry offer;
    offer.type = Sd_entry::Type::offer;
    offer.service = 0x1001;
    offer.ttl = 3;
    offer.tcp = Address{0x7F000001, 30509};
    std::vector<Sd_relay> const relays{
        {Kind::join, {0x7F000001, 30491}, 0, false, {}, {}},
        {Kind::welcome, {0x7F000001, 30492}, 0, false, {{{0x7F000002, 30490}, 70'000}, {{1, 2}, 3}}, {}},
        {Kind::say, {0x7F000002, 30490}, 2, false, {}, {offer, offer}},
        {Kind::heard, {0x7F000002, 30490}, 1, true, {}, {}},
        {Kind::left, {0x7F000001, 30492}, 0, false, {}, {}}};
    Bytes bytes;
    for (auto const& relay : relays) append(bytes, relay);
    for (std::size_t const piece : {std::size_t{1}, std::size_t{7}, bytes.size()}) {
        Sd_relay_reader sut;
        std::vector<Sd_relay> came;
        std::string fault;
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            sut.feed(bytes.data() + at, std::min(piece, bytes.size() - at));
            while (auto relay = sut.next(fault)) came.push_back(*relay);
        }
        EXPECT_EQ(fault, "");
        ASSERT_EQ(came.size(), relays.size());
        for (std::size_t index = 0; index < relays.size(); ++index) {
            EXPECT_EQ(came[index].kind, relays[index].kind);
            EXPECT_EQ(came[index].address, relays[index].address);
            EXPECT_EQ(came[index].detail, relays[index].detail);
            EXPECT_EQ(came[index].flag, relays[index].flag);
            EXPECT_EQ(came[index].list, relays[index].list);
            EXPECT_EQ(came[index].entries, relays[index].entries);
        }
    }
}

TEST(Sd_relay_test, EntriesAreSpreadOverMessagesThatFitIntoADatagram) {
    Sd_entry subscribe;
    subscribe.type = Sd_entry::Type::subscribe;
    subscribe.tcp = Address{0x7F000001, 30509};
    std::vector<Sd_entry> entries(100, subscribe);
    for (std::size_t index = 0; index < entries.size(); ++index) {
        entries[index].service = static_cast<std::uint16_t>(index + 1);
        entries[index].tcp->port = static_cast<std::uint16_t>(index + 1);
    }
    std::vector<Sd_entry> together;
    for (auto const& portion : inPortions(entries)) {
        Sd_message message;
        message.session = 1;
        message.entries = portion;
        EXPECT_LE(encode(message).size(), 1400U);
        together.insert(together.end(), portion.begin(), portion.end());
    }
    EXPECT_EQ(together, entries);
    EXPECT_TRUE(inPortions({}).empty());
}

/// What a member must not send: broken frames, and good ones out of place.
std::vector<Bytes> hostileStreams() {
    Address const identity{0x7F000001, 40'000};
    Sd_relay const join{Kind::join, identity, 0, false, {}, {}};
    std::vector<Bytes> streams{Bytes(64, 0xFF), Bytes(64, 0x00), Bytes(64, 'G')};
    auto const after = [&](Sd_relay const& relay) {
        Bytes bytes = bytesOf(join);
        append(bytes, relay);
        streams.push_back(bytes);
    };
    for (auto const kind : {Kind::welcome, Kind::joined, Kind::left, Kind::say, Kind::heard, Kind::partners})
        streams.push_back(bytesOf({kind, identity, 0, false, {}, {}}));
    for (auto const kind : {Kind::join, Kind::welcome, Kind::joined, Kind::left, Kind::heard})
        after({kind, identity, 0, false, {}, {}});
    after({Kind::say, {}, 9, false, {}, {}});
    streams.push_back(bytesOf({Kind::join, {0x7F000009, 40'000}, 0, false, {}, {}}));
    streams.push_back(bytesOf({Kind::join, {0x7F000001, 0}, 0, false, {}, {}}));
    streams.push_back(bytesOf({Kind::join, {0x7F000001, 30490}, 0, false, {}, {}}));
    streams.push_back(bytesOf({Kind::join, {0x7F000001, 30491}, 0, false, {}, {}}));  // the speaker's
    // One byte of it is another one: some of these are still a member's, but none is both wrong and taken.
    for (std::size_t at = 0; at < someip::HEADER_BYTES + 24; ++at) {
        if (at >= 4 && at < 8) continue;  // the length, which may only make it incomplete
        auto bytes = bytesOf(join);
        bytes[at] ^= 0xFFU;
        streams.push_back(bytes);
    }
    return streams;
}

using Sd_members_test = Sd_voice_test;
INSTANTIATE_TEST_SUITE_P(Mode, Sd_members_test, ::testing::Values("unicast"));

TEST_P(Sd_members_test, MembersThatMakeNoSenseLoseTheirConnectionAndNobodyElseNotices) {
    auto const speaker = process();
    auto const member = process();
    member->offer(0);
    pass(seconds(1));
    Fake_peer other(m_clock, m_network, VOICE.ip);
    std::size_t number = 0;
    mark();
    for (auto const& stream : hostileStreams()) {
        auto const sut = other.connect({Transport::tcp, VOICE});
        sut->send(stream);
        pass(milliseconds(1));
        EXPECT_TRUE(sut->hasEnded() || sut->error()) << "stream " << number;
        ++number;
    }
    pass(seconds(1));
    EXPECT_EQ(gaps(A1), 0U);
    EXPECT_EQ(role(member), "member");
    EXPECT_EQ(speaker->report().peers.size(), 1U) << "the member";
    EXPECT_EQ(speaker->where(0), "tcp 127.0.0.1:30509");
}

TEST_P(Sd_members_test, MemberOfAnotherAddressIsNotTaken) {
    auto const speaker = process();
    auto const sut = m_peer.connect({Transport::tcp, VOICE});
    sut->send(bytesOf({Kind::join, {0x7F000001, 40'000}, 0, false, {}, {}}));
    pass(milliseconds(1));
    EXPECT_TRUE(sut->hasEnded() || sut->error());
    EXPECT_TRUE(sut->stream().empty());
}

TEST_P(Sd_members_test, MemberThatDoesNotReadIsDropped) {
    auto const speaker = process(16'384);
    Fake_peer other(m_clock, m_network, VOICE.ip);
    auto const sut = other.connect({Transport::tcp, VOICE});
    auto bytes = bytesOf({Kind::join, {0x7F000001, 40'000}, 0, false, {}, {}});
    Sd_entry offer = entry(Type::offer);
    append(bytes, {Kind::say, {}, 0, false, {}, {offer}});
    sut->send(bytes);
    sut->with([](someip::Link& link) { link.pause(); });
    pass(milliseconds(1));
    ASSERT_EQ(standing(), std::set<Instance>{A1});
    for (int count = 0; count < 200; ++count) say(std::vector<Sd_entry>(40, entry(Type::find, 0x7777)));
    EXPECT_EQ(standing(), std::set<Instance>{}) << "its offer is taken back";
    EXPECT_EQ(m_network.streams(), 0U);
}

TEST_P(Sd_members_test, ConnectionsThatDoNotJoinShutNobodyOut) {
    auto const speaker = process();
    Fake_peer other(m_clock, m_network, VOICE.ip);
    for (std::size_t count = 0; count < 3 * Sd_speaker::UNKNOWN; ++count) {
        other.connect({Transport::tcp, VOICE});
        pass(milliseconds(1));
    }
    auto const member = process();
    member->offer(0);
    meet();
    EXPECT_EQ(role(member), "member");
    EXPECT_EQ(standing(), std::set<Instance>{A1});
}

TEST_P(Sd_members_test, MemberThatSaysTooMuchIsDropped) {
    auto const speaker = process();
    Fake_peer other(m_clock, m_network, VOICE.ip);
    auto const sut = other.connect({Transport::tcp, VOICE});
    sut->send(bytesOf({Kind::join, {0x7F000001, 40'000}, 0, false, {}, {}}));
    for (std::uint16_t service = 1; service <= Sd_asked::ENTRIES + 1; ++service)
        sut->send(bytesOf({Kind::say, {}, 0, false, {}, {entry(Type::offer, service)}}));
    pass(milliseconds(10));
    EXPECT_TRUE(sut->hasEnded() || sut->error());
    EXPECT_EQ(standing(), std::set<Instance>{});
}

TEST_P(Sd_members_test, NobodyOnTheNetworkSpeaksForAMember) {
    auto const speaker = process();
    auto const member = process();
    member->offer(1);
    meet();
    ASSERT_EQ(speaker->where(1), "tcp 127.0.0.1:30510");
    Sd_message forged;
    forged.session = 1;
    forged.reboot = true;
    forged.sender = Address{0x7F000001, 30492};
    forged.entries = {entry(Type::offer, 0x1001, 2)};
    forged.entries[0].ttl = 0;
    m_socket->send(encode(forged), VOICE);
    pass(milliseconds(1));
    EXPECT_EQ(speaker->where(1), "tcp 127.0.0.1:30510");
    EXPECT_EQ(speaker->report().sd_malformed, 1U);
}

}  // namespace
}  // namespace eb::com::runtime
