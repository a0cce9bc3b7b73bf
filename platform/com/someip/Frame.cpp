#include "platform/com/someip/Frame.h"

namespace eb::com::runtime::someip {
namespace {

std::uint16_t get16(std::uint8_t const* at) noexcept {
    return static_cast<std::uint16_t>(at[0] << 8U | at[1]);
}

std::uint32_t get32(std::uint8_t const* at) noexcept {
    return static_cast<std::uint32_t>(get16(at)) << 16U | get16(at + 2);
}

void put16(std::vector<std::uint8_t>& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8U));
    bytes.push_back(static_cast<std::uint8_t>(value & 0xFFU));
}

}  // namespace

Header readHeader(std::uint8_t const* at) noexcept {
    return {get16(at), get16(at + 2), get16(at + 8), get16(at + 10), at[12], at[13], at[14], at[15]};
}

std::uint32_t readLength(std::uint8_t const* at) noexcept {
    return get32(at + 4);
}

std::vector<std::uint8_t> encode(Header const& header, std::vector<unsigned char> const& payload) {
    auto const length = static_cast<std::uint32_t>(payload.size() + LENGTH_OF_EMPTY);
    std::vector<std::uint8_t> bytes;
    bytes.reserve(HEADER_BYTES + payload.size());
    put16(bytes, header.service);
    put16(bytes, header.method);
    put16(bytes, static_cast<std::uint16_t>(length >> 16U));
    put16(bytes, static_cast<std::uint16_t>(length & 0xFFFFU));
    put16(bytes, header.client);
    put16(bytes, header.session);
    bytes.push_back(header.protocolVersion);
    bytes.push_back(header.interfaceVersion);
    bytes.push_back(header.type);
    bytes.push_back(header.code);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

Header answerTo(Header const& request, std::uint8_t code) noexcept {
    Header answer = request;
    answer.protocolVersion = PROTOCOL_VERSION;
    answer.type = static_cast<std::uint8_t>(code == E_OK ? Message_type::response : Message_type::error);
    answer.code = code;
    return answer;
}

void Frame_reader::feed(std::uint8_t const* bytes, std::size_t size) {
    if (m_broken != Found::nothing) return;
    m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin));
    m_begin = 0;
    m_buffer.insert(m_buffer.end(), bytes, bytes + size);
}

Frame_reader::Found Frame_reader::next(Frame& frame) {
    if (m_broken != Found::nothing) return m_broken;
    std::uint8_t const* const at = m_buffer.data() + m_begin;
    if (pending() < 8) return Found::nothing;
    std::uint32_t const length = readLength(at);
    if (length < LENGTH_OF_EMPTY) {
        m_broken = Found::tooShort;
    } else if (pending() < HEADER_BYTES) {
        return Found::nothing;
    } else if (length - LENGTH_OF_EMPTY > m_maximumPayload) {
        frame = {readHeader(at), Serialized_payload()};
        m_broken = Found::tooLong;
    } else {
        std::size_t const whole = std::size_t{length} + 8;
        if (pending() < whole) return Found::nothing;
        frame = {readHeader(at), Serialized_payload(std::make_shared<std::vector<unsigned char> const>(
                                     at + HEADER_BYTES, at + whole))};
        m_begin += whole;
        return Found::frame;
    }
    m_buffer = {};
    m_begin = 0;
    return m_broken;
}

}  // namespace eb::com::runtime::someip
