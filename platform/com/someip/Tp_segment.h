#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/com/someip/Frame.h"

namespace eb::com::runtime::someip {

/// SOME/IP Transport Protocol (AUTOSAR SOME/IP protocol specification, "Transporting large SOME/IP messages
/// of UDP"): a message that is too long for a datagram of one Ethernet frame goes out in segments. Each is a
/// message of its own with the header of the whole one, a flag in the message type, and a second header.
///
///      0                16                   20
///      | message header | TP header          | up to 1,392 bytes of the payload
///                        31        4 3      1    0
///                       | offset/16 | reserved | more |
///
/// Offsets, and the sizes of all segments but the last, are multiples of 16.
constexpr std::uint8_t TP_FLAG = 0x20;  ///< of the message type
constexpr std::size_t TP_HEADER_BYTES = 4;
constexpr std::size_t TP_UNIT_BYTES = 16;         ///< of offsets and sizes
constexpr std::size_t TP_SEGMENT_BYTES = 1'392;   ///< of the payload in one segment that we send
constexpr std::size_t UNSEGMENTED_BYTES = 1'400;  ///< payloads up to here go out in one datagram

/// A piece of a message's payload.
struct Tp_segment {
    Header header;                        ///< of the whole message: its type is without the flag
    std::uint32_t offset = 0;             ///< in bytes; a multiple of 16 by the format
    bool more = false;                    ///< whether others come behind it
    std::uint8_t const* bytes = nullptr;  ///< not owned
    std::size_t size = 0;
};

/// Whether it is a segment's header: of our protocol version, with the flag at a type that exists. Anything
/// else is for those to refuse who take messages.
bool isSegment(Header const& header) noexcept;

/// The segment under a header for which isSegment holds, from the bytes behind it; nothing if they don't have
/// a TP header. Reserved bits are ignored.
std::optional<Tp_segment> readSegment(Header header, std::uint8_t const* payload, std::size_t size) noexcept;

/// The segment as it goes on the wire.
std::vector<std::uint8_t> encode(Tp_segment const& segment);

}  // namespace eb::com::runtime::someip
