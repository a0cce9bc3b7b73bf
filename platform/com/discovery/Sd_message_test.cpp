// Messages of service discovery and their bytes, good ones and hostile ones.
#include "platform/com/discovery/Sd_message.h"

#include <gtest/gtest.h>

#include <random>

namespace eb::com::runtime {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Type = Sd_entry::Type;

/// What a datagram says, and why nothing if it says nothing.
struct Read {
    std::optional<Sd_message> message;
    std::string reason;
};

Read read(Bytes const& datagram) {
    someip::Frame_reader reader(datagram.size());
    reader.feed(datagram.data(), datagram.size());
    someip::Frame frame;
    if (reader.next(frame) != someip::Frame_reader::Found::frame) return {{}, "no whole message"};
    Read read;
    read.message = decode(frame, read.reason);
    return read;
}

Sd_entry offer() {
    Sd_entry entry;
    entry.type = Type::offer;
    entry.service = 0xB047;
    entry.instance = 1;
    entry.major = 2;
    entry.ttl = 5;
    entry.minor = 0;
    entry.tcp = Address{0x7F000001, 30509};
    return entry;
}

/// An offer as the standard writes it.
Bytes const OFFER{
    0xFF, 0xFF, 0x81, 0x00, 0,    0,    0, 0x30, 0, 0, 0x12, 0x34, 1, 1, 2, 0,  // SOME/IP header
    0xC0, 0,    0,    0,                                                        // reboot, unicast
    0,    0,    0,    16,                                                       // entries
    1,    0,    0,    0x10, 0xB0, 0x47, 0, 1,    2, 0, 0,    5,    0, 0, 0, 0,  // offer, one option
    0,    0,    0,    12,                                                       // options
    0,    9,    4,    0,    127,  0,    0, 1,    0, 6, 0x77, 0x2D};

constexpr std::size_t ENTRY = 24;
constexpr std::size_t OPTION = 44;

Bytes with(Bytes bytes, std::size_t at, Bytes const& values) {
    std::copy(values.begin(), values.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    return bytes;
}

/// The offer with these bytes for options, its lengths put right.
Bytes withOptions(Bytes const& options) {
    Bytes bytes(OFFER.begin(), OFFER.begin() + OPTION);
    bytes.insert(bytes.end(), options.begin(), options.end());
    bytes[OPTION - 1] = static_cast<std::uint8_t>(options.size());
    bytes[7] = static_cast<std::uint8_t>(bytes.size() - 8);
    return bytes;
}

TEST(Sd_message_test, OfferHasTheStandardsBytes) {
    Sd_message message;
    message.session = 0x1234;
    message.reboot = true;
    message.entries = {offer()};
    EXPECT_EQ(encode(message), OFFER);
}

TEST(Sd_message_test, StandardsBytesAreRead) {
    auto const [message, reason] = read(OFFER);
    ASSERT_TRUE(message) << reason;
    EXPECT_EQ(message->session, 0x1234);
    EXPECT_TRUE(message->reboot);
    EXPECT_TRUE(message->unicast);
    EXPECT_EQ(message->entries, std::vector{offer()});
    EXPECT_FALSE(message->sender);
    EXPECT_TRUE(message->refused.empty());
}

TEST(Sd_message_test, SubscriptionHasTheStandardsBytes) {
    Sd_entry entry;
    entry.type = Type::subscribe;
    entry.service = 0x0DDD;
    entry.instance = 1;
    entry.major = 3;
    entry.ttl = 0x010203;
    entry.counter = 0x0A;
    entry.eventgroup = 0x4567;
    entry.udp = Address{0x7F000002, 0x1122};
    Sd_message message;
    message.session = 1;
    message.entries = {entry};
    Bytes const bytes = encode(message);
    Bytes const expected{6, 0, 0, 0x10, 0x0D, 0xDD, 0, 1, 3, 1, 2, 3, 0, 0x0A, 0x45, 0x67};
    EXPECT_EQ(Bytes(bytes.begin() + ENTRY, bytes.begin() + ENTRY + 16), expected);
    EXPECT_EQ(bytes[16], 0x40);
    EXPECT_EQ(read(bytes).message->entries, message.entries);
}

TEST(Sd_message_test, WhatIsWrittenIsReadAgain) {
    for (Type const type : {Type::find, Type::offer, Type::subscribe, Type::subscribeAck})
        for (std::uint32_t const ttl : {0U, 3U, 0xFFFFFFU})
            for (int options = 0; options < 4; ++options) {
                SCOPED_TRACE(std::to_string(int(type)) + " " + std::to_string(ttl) + " " +
                             std::to_string(options));
                Sd_entry entry;
                entry.type = type;
                entry.service = 0xFFFE;
                entry.instance = 0xFFFF;
                entry.major = 0xFF;
                entry.ttl = ttl;
                if (entry.isEventgroupEntry()) entry.eventgroup = 0xFFFE;
                if ((options & 1) != 0) entry.tcp = Address{0x0A000001, 1};
                if ((options & 2) != 0) entry.udp = Address{0x0A000001, 65535};
                Sd_message message;
                message.session = 0xFFFF;
                message.entries = {entry, entry, offer()};
                EXPECT_EQ(read(encode(message)).message->entries, message.entries);
            }
}

TEST(Sd_message_test, EqualEndpointsShareOneOption) {
    Sd_message message;
    message.session = 1;
    message.entries.assign(20, offer());
    EXPECT_EQ(encode(message).size(), SD_EMPTY_BYTES + 20 * SD_ENTRY_BYTES + SD_ENDPOINT_BYTES);
}

TEST(Sd_message_test, SenderAndMulticastAddressAreKept) {
    Sd_message message;
    message.session = 1;
    message.sender = Address{0x7F000009, 30495};
    message.entries = {offer()};
    message.entries[0].multicast = Address{0xE0F4E0F5, 4000};
    auto const again = read(encode(message)).message;
    EXPECT_EQ(again->sender, message.sender);
    EXPECT_EQ(again->entries, message.entries);
}

TEST(Sd_message_test, EveryTruncationIsRefused) {
    for (std::size_t size = 0; size < OFFER.size(); ++size) {
        SCOPED_TRACE(size);
        Bytes cut(OFFER.begin(), OFFER.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(read(cut).message) << "as a short datagram";
        if (size < 16) continue;
        cut[7] = static_cast<std::uint8_t>(size - 8);
        EXPECT_FALSE(read(cut).message) << "with the header's length put right";
    }
}

TEST(Sd_message_test, HeadersOfOtherMessagesAreRefused) {
    struct {
        std::size_t at;
        std::uint8_t value;
    } const rows[] = {{0, 0xFE}, {1, 0},  {2, 0x80}, {3, 1},  {8, 1},
                      {9, 1},    {12, 2}, {13, 2},   {14, 0}, {15, 1}};
    for (auto const& row : rows) {
        SCOPED_TRACE(row.at);
        auto const [message, reason] = read(with(OFFER, row.at, {row.value}));
        EXPECT_FALSE(message);
        EXPECT_EQ(reason, "no message of service discovery");
    }
    EXPECT_EQ(read(with(OFFER, 10, {0, 0})).reason, "session id 0");
}

TEST(Sd_message_test, LengthsThatContradictEachOtherAreRefused) {
    struct {
        std::size_t at;
        Bytes length;
        char const* reason;
    } const rows[] = {
        {20, {0, 0, 0, 15}, "the entries end inside of one"},
        {20, {0, 0, 0, 32}, "the options end beyond the message"},
        {20, {0, 0, 0, 48}, "the entries end beyond the message"},
        {20, {0xFF, 0xFF, 0xFF, 0xFF}, "the entries end beyond the message"},
        {20, {0xFF, 0xFF, 0xFF, 0xF0}, "the entries end beyond the message"},
        {40, {0, 0, 0, 13}, "the options end beyond the message"},
        {40, {0xFF, 0xFF, 0xFF, 0xFF}, "the options end beyond the message"},
        {40, {0xFF, 0xFF, 0xFF, 0xF8}, "the options end beyond the message"},
        {40, {0, 0, 0, 0}, "bytes behind the options"},
        {40, {0, 0, 0, 11}, "bytes behind the options"},
        {OPTION, {0, 0}, "an option of an impossible length"},
        {OPTION, {0, 10}, "an option of an impossible length"},
        {OPTION, {0xFF, 0xFF}, "an option of an impossible length"},
        {OPTION, {0, 8}, "an option of an impossible length"},  // leaves one byte behind it
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(std::to_string(row.at) + ": " + std::to_string(row.length.back()));
        auto const [message, reason] = read(with(OFFER, row.at, row.length));
        EXPECT_FALSE(message);
        EXPECT_EQ(reason, row.reason);
    }
}

TEST(Sd_message_test, EntryWhoseOptionsCannotBeUsedIsRefusedAlone) {
    struct {
        std::size_t at;
        Bytes bytes;
        char const* reason;
    } const rows[] = {
        {ENTRY + 1, {1}, "an option index out of range"},
        {ENTRY + 1, {0xFF}, "an option index out of range"},
        {ENTRY + 3, {0x20}, "an option index out of range"},
        {ENTRY + 3, {0xF0}, "an option index out of range"},
        {ENTRY + 2, {1, 0x11}, "an option index out of range"},
        {ENTRY + 2, {0xFF, 0x1F}, "an option index out of range"},
        {ENTRY, {2}, "an entry of an unknown type"},
        {ENTRY, {0xFF}, "an entry of an unknown type"},
        {OPTION + 2, {0x06}, "no endpoint but an IPv6 one"},
        {OPTION + 2, {0x55}, "an option of an unknown type that must not be discarded"},
        {OPTION + 9, {1}, "an IPv4 option of an unknown protocol"},
        {OPTION + 10, {0, 0}, "an IPv4 option with port 0"},
        {OPTION + 4, {0, 0, 0, 0}, "an IPv4 option with an address that can't stand there"},
        {OPTION + 4, {224, 0, 0, 1}, "an IPv4 option with an address that can't stand there"},
        {OPTION + 4, {255, 255, 255, 255}, "an IPv4 option with an address that can't stand there"},
        {OPTION + 2, {0x14}, "an IPv4 option with an address that can't stand there"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.reason);
        auto const message = read(with(OFFER, row.at, row.bytes)).message;
        ASSERT_TRUE(message);
        EXPECT_TRUE(message->entries.empty());
        ASSERT_EQ(message->refused.size(), 1U);
        EXPECT_STREQ(message->refused[0].reason, row.reason);
        EXPECT_EQ(message->refused[0].entry.service, 0xB047);
    }
}

TEST(Sd_message_test, Ipv4OptionOfAWrongLengthIsNotUsed) {
    for (Bytes const& options : {Bytes{0, 8, 4, 0, 127, 0, 0, 1, 0, 6, 0x77}, Bytes{0, 1, 4, 0},
                                 Bytes{0, 10, 4, 0, 127, 0, 0, 1, 0, 6, 0x77, 0x2D, 0}}) {
        auto const message = read(withOptions(options)).message;
        ASSERT_TRUE(message);
        ASSERT_EQ(message->refused.size(), 1U);
        EXPECT_STREQ(message->refused[0].reason, "an IPv4 option of a wrong length");
    }
}

Bytes const IPV4{0, 9, 4, 0, 127, 0, 0, 1, 0, 6, 0x77, 0x2D};
Bytes const IPV6{0, 0x15, 6, 0, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0x06, 0x77, 0x2D};

Bytes operator+(Bytes bytes, Bytes const& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

TEST(Sd_message_test, OptionsWithoutMeaningHereAreSkippedBeforeAndBehindAnEndpoint) {
    Bytes const ipv6Multicast{0, 0x15, 0x16, 0, 0xFF, 2, 0, 0, 0, 0,    0,    0,
                              0, 0,    0,    0, 0,    0, 0, 1, 0, 0x11, 0x77, 0x2D};
    Bytes const ipv6Sender = with(IPV6, 2, {0x26});
    for (Bytes const& skipped :
         {Bytes{0, 5, 1, 0, 'a', '=', 'b', 0}, Bytes{0, 5, 2, 0, 0, 1, 0, 1}, Bytes{0, 2, 0x77, 0x80, 9},
          Bytes{0, 2, 0x77, 0, 9}, IPV6, ipv6Multicast, ipv6Sender})
        for (Bytes const& options : {skipped + IPV4, IPV4 + skipped})
            for (Bytes const& runs : {Bytes{0, 0, 0x20}, Bytes{0, 1, 0x11}, Bytes{1, 0, 0x11}}) {
                SCOPED_TRACE(int(skipped[2]));
                auto const message = read(with(withOptions(options), ENTRY + 1, runs)).message;
                ASSERT_TRUE(message);
                EXPECT_EQ(message->entries, std::vector{offer()});
                EXPECT_TRUE(message->refused.empty());
            }
}

TEST(Sd_message_test, OnlyWhatSaysNothingWithoutAnEndpointIsRefusedForAnIpv6OneAlone) {
    struct {
        Type type;
        std::uint8_t ttl;
        bool refused;
    } const rows[] = {{Type::find, 5, false},     {Type::offer, 5, true},
                      {Type::offer, 0, false},    {Type::subscribe, 5, true},
                      {Type::subscribe, 0, true}, {Type::subscribeAck, 5, false},
                      {Type::find, 0, false},     {Type::subscribeAck, 0, false}};
    for (auto const& row : rows) {
        SCOPED_TRACE(std::to_string(int(row.type)) + " " + std::to_string(row.ttl));
        auto const bytes = with(with(withOptions(IPV6), ENTRY, {static_cast<std::uint8_t>(row.type)}),
                                ENTRY + 11, {row.ttl});
        auto const message = read(bytes).message;
        ASSERT_TRUE(message);
        EXPECT_EQ(message->refused.size(), row.refused ? 1U : 0U);
        EXPECT_EQ(message->entries.size(), row.refused ? 0U : 1U);
    }
}

TEST(Sd_message_test, BadIpv4OptionIsNotMadeGoodByAnother) {
    auto const bad = with(withOptions(IPV6 + IPV4), OPTION + 24 + 9, {1});
    auto const message = read(with(bad, ENTRY + 3, {0x20})).message;
    ASSERT_EQ(message->refused.size(), 1U);
    EXPECT_STREQ(message->refused[0].reason, "an IPv4 option of an unknown protocol");
}

TEST(Sd_message_test, OptionThatNoEntryRefersToHarmsNone) {
    auto const message = read(with(with(OFFER, ENTRY + 3, {0}), OPTION + 2, {0x55})).message;
    ASSERT_TRUE(message);
    ASSERT_EQ(message->entries.size(), 1U);
    EXPECT_FALSE(message->entries[0].tcp);
}

TEST(Sd_message_test, OptionsThatContradictEachOtherAreRefused) {
    Bytes const two{0, 9, 4, 0, 127, 0, 0, 1, 0, 6, 0x77, 0x2D, 0, 9, 4, 0, 127, 0, 0, 1, 0, 6, 0x77, 0x2E};
    auto const message = read(with(withOptions(two), ENTRY + 3, {0x20})).message;
    ASSERT_EQ(message->refused.size(), 1U);
    EXPECT_STREQ(message->refused[0].reason, "options that contradict each other");
}

TEST(Sd_message_test, LargestDatagramOfEntriesIsReadInBounds) {
    Sd_message message;
    message.session = 1;
    message.entries.assign((someip::MAX_DATAGRAM_BYTES - SD_EMPTY_BYTES) / SD_ENTRY_BYTES - 1, offer());
    Bytes bytes = encode(message);
    auto const again = read(bytes).message;
    ASSERT_TRUE(again);
    EXPECT_EQ(again->entries.size(), message.entries.size());
    for (std::size_t at = ENTRY; at < ENTRY + message.entries.size() * SD_ENTRY_BYTES; at += SD_ENTRY_BYTES)
        bytes[at + 3] = 0xFF;
    EXPECT_EQ(read(bytes).message->refused.size(), message.entries.size());
}

TEST(Sd_message_test, NoByteOfAMessageCanHarm) {
    for (std::size_t at = 0; at < OFFER.size(); ++at)
        for (int value = 0; value < 256; ++value) {
            auto const message = read(with(OFFER, at, {static_cast<std::uint8_t>(value)})).message;
            if (message) {
                EXPECT_LE(message->entries.size() + message->refused.size(), 1U);
            }
        }
}

TEST(Sd_message_test, NoiseBehindAGoodHeaderCanNotHarm) {
    std::minstd_rand random(1);
    for (int round = 0; round < 20'000; ++round) {
        SCOPED_TRACE(round);
        Bytes bytes(OFFER.begin(), OFFER.begin() + 16);
        bytes.resize(16 + random() % 120);
        for (std::size_t at = 16; at < bytes.size(); ++at)
            bytes[at] = static_cast<std::uint8_t>(random() % 4 == 0 ? random() : random() % 3);
        bytes[7] = static_cast<std::uint8_t>(bytes.size() - 8);
        auto const message = read(bytes).message;
        if (message) {
            EXPECT_LE(message->entries.size() + message->refused.size(), bytes.size() / 16);
        }
    }
}

}  // namespace
}  // namespace eb::com::runtime
