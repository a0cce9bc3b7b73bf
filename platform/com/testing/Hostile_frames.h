#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/someip/Frame.h"

namespace eb::com::runtime::testing {

/// Bytes that no honest peer sends, and what is wrong with them.
struct Hostile_frame {
    std::string name;  ///< "length 4294967295 and 8 bytes of payload"
    std::vector<std::uint8_t> bytes;
};

/// The same in one or several pieces: what is wrong may be how they fit together.
struct Hostile_message {
    std::string name;
    std::vector<std::vector<std::uint8_t>> datagrams;

    std::vector<std::uint8_t> inOnePiece() const;
};

/// Of a call of `service` with which nothing is wrong.
someip::Header hostileHeader(std::uint16_t service);

/// For a stream or a datagram socket that serves calls of `service`.
std::vector<Hostile_frame> hostileCalls(std::uint16_t service);

/// Messages under `good`, which nothing is wrong with, in segments that are damaged, don't fit together, or
/// aren't all there.
std::vector<Hostile_message> hostileSegments(someip::Header const& good);

/// A frame cut off at each byte, and with each byte replaced by some others.
void addDamaged(std::vector<Hostile_frame>& frames, std::string const& name,
                std::vector<std::uint8_t> const& good);

/// For a discovery socket of somebody who knows `service` (instance 1, version 2.0). Offers and subscriptions
/// among them name `claimed` as their endpoint.
std::vector<Hostile_frame> hostileDiscovery(std::uint16_t service, Endpoint const& claimed);

/// One entry of a discovery message with one endpoint option; what honest messages are made of, too.
struct Discovery_words {
    std::uint8_t flags = 0xC0;  ///< reboot, unicast
    std::uint8_t type = 0x01;   ///< offer
    std::uint8_t firstOption = 0;
    std::uint8_t secondOption = 0;
    std::uint8_t optionCounts = 0x10;  ///< one in the first run, none in the second
    std::uint16_t service = 0;
    std::uint16_t instance = 1;
    std::uint8_t major = 2;
    std::uint32_t ttl = 3;
    std::uint32_t last = 0;  ///< minor version, or eventgroup
    std::uint32_t entriesLength = 16;
    std::uint32_t optionsLength = 12;
    std::uint16_t optionLength = 9;
    std::uint8_t optionType = 0x04;  ///< IPv4 endpoint
    Endpoint endpoint;
    std::uint8_t protocol = 0;  ///< 0: the endpoint's
    std::uint16_t session = 1;

    std::vector<std::uint8_t> bytes() const;
};

}  // namespace eb::com::runtime::testing
