#include "platform/com/someip/Tp_segment.h"

namespace eb::com::runtime::someip {
namespace {

constexpr std::uint32_t MORE = 1;
constexpr std::uint32_t NO_OFFSET = 0xF;  // three reserved bits and the flag

}  // namespace

bool isSegment(Header const& header) noexcept {
    if ((header.type & TP_FLAG) == 0 || header.protocolVersion != PROTOCOL_VERSION || header.isMagicCookie())
        return false;
    switch (static_cast<Message_type>(header.type & ~TP_FLAG)) {
        case Message_type::request:
        case Message_type::requestNoReturn:
        case Message_type::notification:
        case Message_type::response:
        case Message_type::error:
            return true;
    }
    return false;
}

std::optional<Tp_segment> readSegment(Header header, std::uint8_t const* payload, std::size_t size) noexcept {
    if (size < TP_HEADER_BYTES) return {};
    std::uint32_t word = 0;
    for (std::size_t index = 0; index < TP_HEADER_BYTES; ++index) word = word << 8U | payload[index];
    header.type = static_cast<std::uint8_t>(header.type & ~TP_FLAG);
    return Tp_segment{header, word & ~NO_OFFSET, (word & MORE) != 0, payload + TP_HEADER_BYTES,
                      size - TP_HEADER_BYTES};
}

std::vector<std::uint8_t> encode(Tp_segment const& segment) {
    std::uint32_t const word = segment.offset | (segment.more ? MORE : 0);
    std::vector<std::uint8_t> payload;
    payload.reserve(TP_HEADER_BYTES + segment.size);
    for (unsigned shift = 32; shift != 0; shift -= 8)
        payload.push_back(static_cast<std::uint8_t>(word >> (shift - 8)));
    payload.insert(payload.end(), segment.bytes, segment.bytes + segment.size);
    Header header = segment.header;
    header.type = static_cast<std::uint8_t>(header.type | TP_FLAG);
    return encode(header, payload);
}

}  // namespace eb::com::runtime::someip
