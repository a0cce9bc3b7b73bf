// Who the gateway is on the vehicle's network, and what it says of itself by UDP.
#pragma once

#include <array>
#include <chrono>
#include <optional>

#include "tools/tester/doip/Protocol.h"

namespace tester::doip {

using std::chrono::milliseconds;

/// Addresses and names of a DoIP entity (ISO 13400-2). Set once, before the gateway starts.
struct Entity {
    using Vin = std::array<unsigned char, 17>;
    using Id = std::array<unsigned char, 6>;

    std::uint16_t address = 0x1001;
    std::uint16_t functional = 0xE400;  ///< reaches the same target as `address`
    std::uint16_t testersFrom = 0x0E00;
    std::uint16_t testersTo = 0x0EFF;
    Vin vin{'T', 'E', 'S', 'T', 'E', 'R', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '1'};
    Id eid{0x02, 0x00, 0x00, 0x00, 0x10, 0x01};  ///< a locally administered MAC address
    Id gid{0x02, 0x00, 0x00, 0x00, 0x10, 0x00};

    bool isTester(std::uint16_t source) const noexcept {
        return source >= testersFrom && source <= testersTo;
    }
    bool isTarget(std::uint16_t target) const noexcept { return target == address || target == functional; }
};

/// Bounds of the connections, and the times of the standard's table of timing parameters.
struct Transport {
    std::size_t sockets = 8;         ///< that can be activated at a time; 1 to 255
    std::size_t waitingMost = 64;    ///< connections that aren't activated; the oldest gives way
    std::size_t queueMost = 65'536;  ///< bytes to be sent to one peer before no more is read from it
    std::size_t store = 262'144;     ///< bytes of long payloads, for all connections together
    milliseconds initialInactivity{2'000};
    milliseconds generalInactivity{300'000};
    milliseconds aliveCheck{500};
    /// Between two frames to one peer. Clients that take all that has come for one frame lose the response
    /// behind the acknowledgement.
    milliseconds spacing{5};
};

/// What changes while the gateway runs.
struct Status {
    std::size_t sockets;      ///< that can be activated
    std::size_t openSockets;  ///< that are
    bool ready;               ///< the vehicle's diagnostics are there
};

/// What tells everybody of the entity, unasked.
Message announcement(Entity const& entity);

/// What a datagram came to.
struct DatagramAnswer {
    Message frame;        ///< to be sent to where the datagram came from; empty if nothing is
    std::string meaning;  ///< of request and answer
};

/// Answers a datagram. It need not be well-formed; none that is itself an answer is answered.
DatagramAnswer answerDatagram(Entity const& entity, Status const& status, Bytes datagram);

}  // namespace tester::doip
