#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/com/someip/Tp_segment.h"

namespace eb::com::runtime::testing {

/// One segment as it goes on the wire: `size` bytes of the payload from `offset`, whatever sense that makes.
inline std::vector<std::uint8_t> segmentOf(someip::Header const& header, std::uint32_t offset, bool more,
                                           std::vector<std::uint8_t> const& bytes) {
    return someip::encode(someip::Tp_segment{header, offset, more, bytes.data(), bytes.size()});
}

/// The segments of a message as an honest sender cuts them.
inline std::vector<std::vector<std::uint8_t>> segmentsOf(someip::Header const& header,
                                                         std::vector<std::uint8_t> const& payload,
                                                         std::size_t each = someip::TP_SEGMENT_BYTES) {
    std::vector<std::vector<std::uint8_t>> segments;
    for (std::size_t at = 0; at < payload.size(); at += each) {
        std::size_t const end = std::min(at + each, payload.size());
        segments.push_back(segmentOf(header, static_cast<std::uint32_t>(at), end != payload.size(),
                                     {payload.begin() + static_cast<std::ptrdiff_t>(at),
                                      payload.begin() + static_cast<std::ptrdiff_t>(end)}));
    }
    return segments;
}

/// Bytes of which no two stretches are alike.
inline std::vector<std::uint8_t> pattern(std::size_t size, std::uint32_t seed = 1) {
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>((seed = seed * 1103515245U + 12345U) >> 16U);
    return bytes;
}

}  // namespace eb::com::runtime::testing
