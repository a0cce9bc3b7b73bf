#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/someip/Frame.h"

namespace eb::com::runtime {

/// What stands in an instance's or version's place for "any".
constexpr std::uint16_t ANY_INSTANCE = 0xFFFF;
constexpr std::uint8_t ANY_MAJOR = 0xFF;
constexpr std::uint32_t ANY_MINOR = 0xFFFFFFFF;

/// One thing that a discovery message says, with the options it refers to (SOME/IP service discovery, "Entry
/// Format"). Entries that end something have a time to live of 0.
struct Sd_entry {
    enum class Type : std::uint8_t {
        find = 0x00,
        offer = 0x01,         ///< ttl 0: stop offer
        subscribe = 0x06,     ///< ttl 0: stop subscribe
        subscribeAck = 0x07,  ///< ttl 0: refused
    };
    static constexpr std::uint32_t FOR_EVER = 0xFFFFFF;

    Type type = Type::find;
    std::uint16_t service = 0;
    std::uint16_t instance = ANY_INSTANCE;
    std::uint8_t major = ANY_MAJOR;
    std::uint32_t ttl = 0;            ///< seconds, 24 bits
    std::uint32_t minor = ANY_MINOR;  ///< find, offer
    std::uint16_t eventgroup = 0;     ///< subscribe, subscribeAck
    std::uint8_t counter = 0;         ///< subscribe, subscribeAck: tells equal subscriptions apart, 4 bits
    std::optional<Address> tcp;       ///< endpoint options
    std::optional<Address> udp;
    std::optional<Address> multicast;  ///< where events go for all subscribers
    bool operator==(Sd_entry const&) const = default;

    bool isEventgroupEntry() const noexcept { return type >= Type::subscribe; }
    std::optional<Address> const& endpoint(Transport transport) const noexcept {
        return transport == Transport::tcp ? tcp : udp;
    }
};

/// One message of service discovery.
///
///     SOME/IP header: service 0xFFFF, method 0x8100, client 0, notification
///     | flags | 0 0 0 | length of the entries | entries, 16 bytes each | length of the options | options |
///
/// An entry refers to two runs of neighbouring options; entries may share them.
struct Sd_message {
    std::uint16_t session = 0;
    bool reboot = false;  ///< its sender has not yet used up its session ids since it started
    bool unicast = true;  ///< its sender takes unicast messages
    std::vector<Sd_entry> entries;
    std::optional<Address> sender;  ///< where the sender wants answers, if not where the message came from

    /// Entries whose options can't be used: as far as they could be read, and why they are refused.
    struct Refused {
        Sd_entry entry;
        char const* reason;
    };
    std::vector<Refused> refused;
};

constexpr std::uint16_t SD_SERVICE = 0xFFFF;
constexpr std::uint16_t SD_METHOD = 0x8100;

/// Bytes that a message has without entries and options: the header, flags and two lengths.
constexpr std::size_t SD_EMPTY_BYTES = someip::HEADER_BYTES + 12;
constexpr std::size_t SD_ENTRY_BYTES = 16;
constexpr std::size_t SD_ENDPOINT_BYTES = 12;

/// The whole message. An entry may have two of its three addresses; those of all entries become one option
/// each, and there may be no more than 256 of them.
std::vector<std::uint8_t> encode(Sd_message const& message);

/// Takes a message apart. Nothing if it is none or its lengths contradict each other, and then `reason` tells
/// why. Needs no more memory than some times the frame's. Options of types without meaning here are skipped,
/// IPv6 ones among them; an offer or subscription that is left without any endpoint is refused.
std::optional<Sd_message> decode(someip::Frame const& frame, std::string& reason);

}  // namespace eb::com::runtime
