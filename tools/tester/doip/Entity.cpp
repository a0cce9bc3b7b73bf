#include "tools/tester/doip/Entity.h"

#include <algorithm>

namespace tester::doip {

namespace {

constexpr unsigned char GATEWAY = 0x00;  // node type
constexpr unsigned char NO_FURTHER_ACTION = 0x00;
constexpr unsigned char SYNCHRONISED = 0x00;  // VIN and GID
constexpr unsigned char NOT_READY = 0x00;     // diagnostic power mode
constexpr unsigned char READY = 0x01;

Message identity(Entity const& entity) {
    Message payload;
    append(payload, entity.vin);
    append16(payload, entity.address);
    append(payload, entity.eid);
    append(payload, entity.gid);
    payload.push_back(NO_FURTHER_ACTION);
    payload.push_back(SYNCHRONISED);
    return payload;
}

Message statusPayload(Status const& status) {
    Message payload{GATEWAY, static_cast<unsigned char>(status.sockets),
                    static_cast<unsigned char>(status.openSockets)};
    append32(payload, PAYLOAD_MOST);
    return payload;
}

DatagramAnswer answered(Header const& header, Type type, Bytes payload, std::string const& what) {
    return {frame(header.version, type, payload), typeName(header.type) + ": " + what};
}

DatagramAnswer refused(Header const& header, HeaderNack code) {
    bool const known = header.version == VERSION_2012 || header.version == VERSION_2019;
    unsigned char const byte = static_cast<unsigned char>(code);
    return {frame(known ? header.version : VERSION_2012, Type::headerNack, Bytes(&byte, 1)),
            typeName(header.type) + ": refused, " + name(code)};
}

}  // namespace

Message announcement(Entity const& entity) {
    return frame(VERSION_2012, Type::announcement, identity(entity));
}

DatagramAnswer answerDatagram(Entity const& entity, Status const& status, Bytes datagram) {
    if (datagram.size() < HEADER_SIZE) return {{}, "less than a header: ignored"};
    std::array<unsigned char, HEADER_SIZE> front{};
    std::copy_n(datagram.begin(), HEADER_SIZE, front.begin());
    Header const header = readHeader(front);
    if (isIgnored(header, Carrier::udp)) return {{}, typeName(header.type) + ": ignored"};
    if (auto const code = judgeHeader(header, Carrier::udp)) return refused(header, *code);
    Bytes const payload = datagram.subspan(HEADER_SIZE);
    if (!lengthSuits(header) || payload.size() != header.length)
        return refused(header, HeaderNack::invalidLength);

    auto const means = [&](auto const& id) { return std::equal(payload.begin(), payload.end(), id.begin()); };
    switch (static_cast<Type>(header.type)) {
        case Type::identificationByEid:
            if (!means(entity.eid)) return {{}, typeName(header.type) + ": another entity's, ignored"};
            break;
        case Type::identificationByVin:
            if (!means(entity.vin)) return {{}, typeName(header.type) + ": another vehicle's, ignored"};
            break;
        case Type::status:
            return answered(
                header, Type::statusAnswer, statusPayload(status),
                std::to_string(status.openSockets) + " of " + counted(status.sockets, "socket") + " active");
        case Type::powerMode: {
            unsigned char const mode = status.ready ? READY : NOT_READY;
            return answered(header, Type::powerModeAnswer, Bytes(&mode, 1),
                            status.ready ? "ready" : "not ready, the trouble codes' services aren't there");
        }
        default:
            break;
    }
    return answered(header, Type::announcement, identity(entity), "answered");
}

}  // namespace tester::doip
