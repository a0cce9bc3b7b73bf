#include "tools/tester/doip/Protocol.h"

#include <algorithm>
#include <iterator>

namespace tester::doip {

namespace {

constexpr std::uint32_t NO_LIMIT = PAYLOAD_MOST;

/// A payload type: its name, who may send it to a DoIP entity over which carrier, and its lengths.
struct Row {
    Type type;
    char const* name;
    enum class Use : std::uint8_t { udp, tcp, ignored, sentOnly } use;
    std::uint32_t least;
    std::uint32_t most;
    std::uint32_t step;  ///< lengths from `least` to `most` in steps of this
};

constexpr Row ROWS[] = {
    {Type::headerNack, "generic header negative acknowledge", Row::Use::ignored, 1, 1, 1},
    {Type::identification, "vehicle identification request", Row::Use::udp, 0, 0, 1},
    {Type::identificationByEid, "vehicle identification request with EID", Row::Use::udp, 6, 6, 1},
    {Type::identificationByVin, "vehicle identification request with VIN", Row::Use::udp, 17, 17, 1},
    {Type::announcement, "vehicle announcement or identification response", Row::Use::ignored, 32, 33, 1},
    {Type::activation, "routing activation request", Row::Use::tcp, 7, 11, 4},
    {Type::activationAnswer, "routing activation response", Row::Use::sentOnly, 9, 13, 4},
    {Type::aliveCheck, "alive check request", Row::Use::tcp, 0, 0, 1},
    {Type::aliveCheckAnswer, "alive check response", Row::Use::tcp, 2, 2, 1},
    {Type::status, "entity status request", Row::Use::udp, 0, 0, 1},
    {Type::statusAnswer, "entity status response", Row::Use::ignored, 3, 7, 4},
    {Type::powerMode, "diagnostic power mode request", Row::Use::udp, 0, 0, 1},
    {Type::powerModeAnswer, "diagnostic power mode response", Row::Use::ignored, 1, 1, 1},
    {Type::diagnostic, "diagnostic message", Row::Use::tcp, ADDRESSES_SIZE + 1, NO_LIMIT, 1},
    {Type::diagnosticAck, "diagnostic message acknowledge", Row::Use::sentOnly, 5, NO_LIMIT, 1},
    {Type::diagnosticNack, "diagnostic message negative acknowledge", Row::Use::sentOnly, 5, NO_LIMIT, 1},
};

Row const* rowOf(std::uint16_t type) {
    auto const found = std::find_if(std::begin(ROWS), std::end(ROWS), [type](Row const& row) {
        return static_cast<std::uint16_t>(row.type) == type;
    });
    return found == std::end(ROWS) ? nullptr : &*found;
}

bool patternIsRight(Header const& header, Carrier carrier) {
    if (header.inverse != static_cast<std::uint8_t>(~header.version)) return false;
    if (header.version == VERSION_2012 || header.version == VERSION_2019) return true;
    bool const asksWhoIsThere = header.is(Type::identification) || header.is(Type::identificationByEid) ||
                                header.is(Type::identificationByVin);
    return header.version == VERSION_ANY && carrier == Carrier::udp && asksWhoIsThere;
}

std::string coded(unsigned char code, char const* text) {
    return hexByte(code) + ' ' + text;
}

}  // namespace

std::string name(HeaderNack code) {
    constexpr char const* TEXTS[] = {"incorrect pattern format", "unknown payload type", "message too large",
                                     "out of memory", "invalid payload length"};
    auto const value = static_cast<unsigned char>(code);
    return coded(value, TEXTS[value]);
}

std::string name(Activation code) {
    auto const value = static_cast<unsigned char>(code);
    switch (code) {
        case Activation::unknownSource:
            return coded(value, "denied: unknown source address");
        case Activation::noFreeSocket:
            return coded(value, "denied: all sockets are registered and active");
        case Activation::otherSource:
            return coded(value, "denied: the socket is activated for another source address");
        case Activation::alreadyActive:
            return coded(value, "denied: the source address is active on another socket");
        case Activation::unsupportedType:
            return coded(value, "denied: unsupported routing activation type");
        case Activation::activated:
            break;
    }
    return coded(value, "routing activated");
}

std::string name(DiagnosticNack code) {
    auto const value = static_cast<unsigned char>(code);
    switch (code) {
        case DiagnosticNack::invalidSource:
            return coded(value, "invalid source address");
        case DiagnosticNack::unknownTarget:
            return coded(value, "unknown target address");
        case DiagnosticNack::tooLarge:
            break;
    }
    return coded(value, "diagnostic message too large");
}

std::string typeName(std::uint16_t type) {
    Row const* row = rowOf(type);
    return row ? row->name : "payload type " + hexNumber(type);
}

Header readHeader(std::array<unsigned char, HEADER_SIZE> const& bytes) {
    auto const length = std::uint32_t{read16(bytes, 4)} << 16U | read16(bytes, 6);
    return {bytes[0], bytes[1], read16(bytes, 2), length};
}

bool isIgnored(Header const& header, Carrier carrier) {
    Row const* row = rowOf(header.type);
    return row && row->use == Row::Use::ignored && (carrier == Carrier::udp || header.is(Type::headerNack));
}

std::optional<HeaderNack> judgeHeader(Header const& header, Carrier carrier) {
    if (!patternIsRight(header, carrier)) return HeaderNack::incorrectPattern;
    Row const* row = rowOf(header.type);
    auto const use = carrier == Carrier::udp ? Row::Use::udp : Row::Use::tcp;
    if (!isIgnored(header, carrier) && (!row || row->use != use)) return HeaderNack::unknownType;
    if (header.length > PAYLOAD_MOST) return HeaderNack::tooLarge;
    return {};
}

bool lengthSuits(Header const& header) {
    Row const* row = rowOf(header.type);
    return row && header.length >= row->least && header.length <= row->most &&
           (header.length - row->least) % row->step == 0;
}

bool endsConnection(HeaderNack code) {
    return code == HeaderNack::incorrectPattern || code == HeaderNack::invalidLength;
}

Message frame(std::uint8_t version, Type type, Bytes payload) {
    if (version == VERSION_ANY) version = VERSION_2012;
    Message all;
    all.reserve(HEADER_SIZE + payload.size());
    all.push_back(version);
    all.push_back(static_cast<unsigned char>(~version));
    append16(all, static_cast<std::uint16_t>(type));
    append32(all, static_cast<std::uint32_t>(payload.size()));
    append(all, payload);
    return all;
}

std::uint16_t read16(Bytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8U | bytes[at + 1]);
}

void append16(Message& message, std::uint16_t number) {
    message.push_back(static_cast<unsigned char>(number >> 8U));
    message.push_back(static_cast<unsigned char>(number));
}

void append32(Message& message, std::uint32_t number) {
    append16(message, static_cast<std::uint16_t>(number >> 16U));
    append16(message, static_cast<std::uint16_t>(number));
}

void append(Message& message, Bytes bytes) {
    message.insert(message.end(), bytes.begin(), bytes.end());
}

}  // namespace tester::doip
