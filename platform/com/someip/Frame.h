#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <eb/com/runtime/Serialized_payload.h>

namespace eb::com::runtime::someip {

/// Message types (SOME/IP protocol specification, "Message Type").
enum class Message_type : std::uint8_t {
    request = 0x00,
    requestNoReturn = 0x01,
    notification = 0x02,
    response = 0x80,
    error = 0x81,
};

/// Return codes (SOME/IP protocol specification, "Return Code"). From 0x20 on a service's own.
enum Return_code : std::uint8_t {
    E_OK = 0x00,
    E_NOT_OK = 0x01,
    E_UNKNOWN_SERVICE = 0x02,
    E_UNKNOWN_METHOD = 0x03,
    E_NOT_READY = 0x04,
    E_NOT_REACHABLE = 0x05,
    E_TIMEOUT = 0x06,
    E_WRONG_PROTOCOL_VERSION = 0x07,
    E_WRONG_INTERFACE_VERSION = 0x08,
    E_MALFORMED_MESSAGE = 0x09,
    E_WRONG_MESSAGE_TYPE = 0x0A,
};

constexpr std::size_t HEADER_BYTES = 16;
constexpr std::uint32_t LENGTH_OF_EMPTY = 8;  ///< what the length field counts of the header itself
constexpr std::uint8_t PROTOCOL_VERSION = 1;
constexpr std::uint16_t FIRST_EVENT = 0x8000;  ///< method ids from here on are those of events
/// The most that IPv4 lets a UDP datagram carry.
constexpr std::size_t MAX_DATAGRAM_BYTES = 65'507;

/// The header of a message without its length, which follows from the payload.
///
///      0          2          4                   8          10         12       13        14   15   16
///      | service  | method   | length from here  | client   | session  | proto. | interf. |type|code|
///      payload
struct Header {
    std::uint16_t service = 0;
    std::uint16_t method = 0;
    std::uint16_t client = 0;
    std::uint16_t session = 0;
    std::uint8_t protocolVersion = PROTOCOL_VERSION;
    std::uint8_t interfaceVersion = 0;
    std::uint8_t type = 0;  ///< a Message_type, or anything else that a peer sent
    std::uint8_t code = E_OK;
    bool operator==(Header const&) const = default;

    /// Magic cookies mark places in a TCP stream where a message begins; they carry nothing.
    bool isMagicCookie() const noexcept {
        return service == 0xFFFF && (method == 0x0000 || method == 0x8000) && client == 0xDEAD &&
               session == 0xBEEF;
    }
};

/// The whole message as it goes on the wire, in network byte order.
std::vector<std::uint8_t> encode(Header const& header, std::vector<unsigned char> const& payload);

/// The header that begins at `at`, HEADER_BYTES long.
Header readHeader(std::uint8_t const* at) noexcept;

/// What the length field of the header at `at` says.
std::uint32_t readLength(std::uint8_t const* at) noexcept;

/// The header of the answer to `request`: a code other than E_OK makes it an ERROR message.
Header answerTo(Header const& request, std::uint8_t code) noexcept;

/// One message taken off the wire.
struct Frame {
    Header header;
    Serialized_payload payload;
};

/// Cuts a stream of bytes into messages, however the stream was split. Holds no more than one message and
/// the last piece that was fed: what a length field claims is compared with the bound before a byte of it
/// is waited for. One thread.
///
///     reading --length < 8---> broken(tooShort)     a broken stream stays broken: nobody knows where
///        |  \---length > max-> broken(tooLong)      its next message begins
///        '<-- message complete: next() gives it
class Frame_reader {
public:
    enum class Found : std::uint8_t { nothing, frame, tooShort, tooLong };

    explicit Frame_reader(std::size_t maximumPayload) : m_maximumPayload(maximumPayload) {}

    void feed(std::uint8_t const* bytes, std::size_t size);

    /// The next message if it is there whole. For `tooLong` the frame has the header and no payload.
    Found next(Frame& frame);

    /// Bytes that belong to no complete message yet.
    std::size_t pending() const noexcept { return m_buffer.size() - m_begin; }

private:
    std::size_t m_maximumPayload;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;  ///< of what was not given out yet
    Found m_broken = Found::nothing;
};

}  // namespace eb::com::runtime::someip
