// DoIP as it stands on the wire: ISO 13400-2:2012 and 2019.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/tester/Text.h"

namespace tester::doip {

/// Bytes that somebody owns: a frame, a payload, a UDS message.
using Message = std::vector<unsigned char>;

enum class Type : std::uint16_t {
    headerNack = 0x0000,
    identification = 0x0001,
    identificationByEid = 0x0002,
    identificationByVin = 0x0003,
    announcement = 0x0004,  ///< and the answer to an identification request
    activation = 0x0005,
    activationAnswer = 0x0006,
    aliveCheck = 0x0007,
    aliveCheckAnswer = 0x0008,
    status = 0x4001,
    statusAnswer = 0x4002,
    powerMode = 0x4003,
    powerModeAnswer = 0x4004,
    diagnostic = 0x8001,
    diagnosticAck = 0x8002,
    diagnosticNack = 0x8003,
};

/// Generic header negative acknowledge codes (table "generic DoIP header NACK").
enum class HeaderNack : std::uint8_t {
    incorrectPattern = 0x00,  ///< the connection is closed
    unknownType = 0x01,
    tooLarge = 0x02,
    outOfMemory = 0x03,
    invalidLength = 0x04,  ///< the connection is closed
};

/// Routing activation response codes.
enum class Activation : std::uint8_t {
    unknownSource = 0x00,
    noFreeSocket = 0x01,
    otherSource = 0x02,    ///< the socket is activated for another address
    alreadyActive = 0x03,  ///< the address is activated on another socket that is alive
    unsupportedType = 0x06,
    activated = 0x10,
};

/// Diagnostic message negative acknowledge codes.
enum class DiagnosticNack : std::uint8_t {
    invalidSource = 0x02,  ///< the connection is closed
    unknownTarget = 0x03,
    tooLarge = 0x04,
};

/// Names in the words of the standard.
std::string name(HeaderNack code);
std::string name(Activation code);
std::string name(DiagnosticNack code);
/// "routing activation request"; "payload type 0x1234" for one that the standard doesn't know.
std::string typeName(std::uint16_t type);

inline constexpr std::size_t HEADER_SIZE = 8;
/// Payloads beyond it are refused as too large; none that is sent is longer either.
inline constexpr std::size_t PAYLOAD_MOST = 65'536;
/// Source and target address in front of the UDS message.
inline constexpr std::size_t ADDRESSES_SIZE = 4;
/// A UDS response can be as long as fits; a request as long as ISO-TP's classic limit.
inline constexpr std::size_t UDS_RESPONSE_MOST = PAYLOAD_MOST - ADDRESSES_SIZE;
inline constexpr std::size_t UDS_REQUEST_MOST = 4095;

inline constexpr std::uint8_t VERSION_2012 = 0x02;
inline constexpr std::uint8_t VERSION_2019 = 0x03;
/// Whoever asks for identification may not know the version yet.
inline constexpr std::uint8_t VERSION_ANY = 0xFF;

struct Header {
    std::uint8_t version;
    std::uint8_t inverse;
    std::uint16_t type;
    std::uint32_t length;  ///< of the payload

    bool is(Type wanted) const noexcept { return type == static_cast<std::uint16_t>(wanted); }
};

Header readHeader(std::array<unsigned char, HEADER_SIZE> const& bytes);

enum class Carrier : std::uint8_t { udp, tcp };

/// Messages that are left alone: negative acknowledgements, and what entities send. An answer to them could
/// be answered in turn, without end.
bool isIgnored(Header const& header, Carrier carrier);

/// What the header alone is refused for: pattern, payload type and size, in this order.
std::optional<HeaderNack> judgeHeader(Header const& header, Carrier carrier);
/// Whether the length suits the payload type, one that the carrier takes.
bool lengthSuits(Header const& header);
/// Whether the standard has the connection closed after this.
bool endsConnection(HeaderNack code);

/// A frame with its header. `version` is the peer's; in place of VERSION_ANY it is 2012's.
Message frame(std::uint8_t version, Type type, Bytes payload);

std::uint16_t read16(Bytes bytes, std::size_t at);
void append16(Message& message, std::uint16_t number);
void append32(Message& message, std::uint32_t number);
void append(Message& message, Bytes bytes);

}  // namespace tester::doip
