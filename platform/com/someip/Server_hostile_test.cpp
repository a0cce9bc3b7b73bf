// Frames that are wrong in one way each: what they are answered with, and that nobody else notices.
#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <tuple>

#include "platform/com/testing/Server_test.h"

namespace eb::com::runtime::someip {
namespace {

using namespace testing;

/// A frame that is wrong in one way, what it is answered with, and whether the connection lives on.
struct Hostile {
    char const* name;
    Bytes bytes;
    std::optional<std::uint8_t> code;  // nothing: no answer
    bool survives = true;              // on a stream
    bool segment = false;              // which datagrams may carry: not answered there
};

Bytes with(Header header, std::size_t position, std::uint8_t value) {
    Bytes bytes = frame(header, {1, 2, 3});
    bytes[position] = value;
    return bytes;
}

Bytes withLength(std::uint16_t service, std::uint32_t length) {
    Bytes bytes = frame(request(service, wire(ECHO)));
    for (std::size_t index = 0; index < 4; ++index)
        bytes[4 + index] = static_cast<std::uint8_t>(length >> (24 - 8 * index));
    return bytes;
}

/// Rows that hold for both transports.
std::vector<Hostile> hostileFrames(std::uint16_t service) {
    Header const good = request(service, wire(ECHO));
    std::vector<Hostile> rows = {
        {"UnknownService", frame(request(0x4711, 1)), E_UNKNOWN_SERVICE},
        {"ServiceOfTheOtherTransport", frame(request(service ^ 3U, wire(ECHO))), E_UNKNOWN_SERVICE},
        {"ServiceZero", frame(request(0, 0)), E_UNKNOWN_SERVICE},
        {"DiscoveryMessage", frame(request(0xFFFF, 0x8100)), E_UNKNOWN_SERVICE},
        {"UnknownMethod", frame(request(service, 0x99)), E_UNKNOWN_METHOD},
        {"MethodZero", frame(request(service, 0)), E_UNKNOWN_METHOD},
        {"EventInsteadOfAMethod", frame(request(service, 0x8001)), E_UNKNOWN_METHOD},
        {"MethodWithoutAHandler", frame(request(service, wire(UNHANDLED))), E_UNKNOWN_METHOD},
        {"ProtocolVersion0", with(good, 12, 0), E_WRONG_PROTOCOL_VERSION},
        {"ProtocolVersion2", with(good, 12, 2), E_WRONG_PROTOCOL_VERSION},
        {"ProtocolVersion255", with(good, 12, 255), E_WRONG_PROTOCOL_VERSION},
        {"InterfaceVersion0", with(good, 13, 0), E_WRONG_INTERFACE_VERSION},
        {"InterfaceVersion1", with(good, 13, 1), E_WRONG_INTERFACE_VERSION},
        {"InterfaceVersion3", with(good, 13, 3), E_WRONG_INTERFACE_VERSION},
        {"InterfaceVersion255", with(good, 13, 255), E_WRONG_INTERFACE_VERSION},
        {"SegmentedRequest", with(good, 14, 0x20), E_WRONG_MESSAGE_TYPE, true, true},
        {"SegmentOfAnUnknownType", with(good, 14, 0x23), E_WRONG_MESSAGE_TYPE},
        {"SegmentedNotification", with(good, 14, 0x22), E_WRONG_MESSAGE_TYPE, true, true},
        {"UndefinedType3", with(good, 14, 0x03), E_WRONG_MESSAGE_TYPE},
        {"UndefinedType40", with(good, 14, 0x40), E_WRONG_MESSAGE_TYPE},
        {"UndefinedType7F", with(good, 14, 0x7F), E_WRONG_MESSAGE_TYPE},
        {"Notification", with(good, 14, 0x02), {}},
        {"Response", with(good, 14, 0x80), {}},
        {"Error", with(good, 14, 0x81), {}},
        {"SegmentedResponse", with(good, 14, 0xA0), {}},
        {"SegmentedError", with(good, 14, 0xA1), {}},
        {"NoReturnToAnUnknownMethod", with(request(service, 0x99), 14, 0x01), {}},
        {"ResponseOfAnUnknownService", with(request(0x4711, 1), 14, 0x80), {}},
        {"MagicCookieOfAClient", frame({0xFFFF, 0x0000, 0xDEAD, 0xBEEF, 1, 1, 1, 0}), {}},
        {"MagicCookieOfAServer", frame({0xFFFF, 0x8000, 0xDEAD, 0xBEEF, 1, 1, 2, 0}), {}},
        {"LengthOneAboveTheBound", withLength(service, 8 + (1U << 20U) + 1), E_MALFORMED_MESSAGE, false},
        {"LengthOf31Bits", withLength(service, 0x7FFFFFFFU), E_MALFORMED_MESSAGE, false},
        {"LengthWithTheHighestBit", withLength(service, 0x80000000U), E_MALFORMED_MESSAGE, false},
        {"LengthMaximumLess8", withLength(service, 0xFFFFFFF7U), E_MALFORMED_MESSAGE, false},
        {"LengthMaximum", withLength(service, 0xFFFFFFFFU), E_MALFORMED_MESSAGE, false},
    };
    static std::deque<std::string> names;
    for (std::uint32_t length = 0; length < 8; ++length) {
        names.push_back("Length" + std::to_string(length));
        rows.push_back({names.back().c_str(), withLength(service, length), {}, false});
    }
    names.push_back("Garbage");
    Bytes garbage(64);
    std::uint32_t state = 12345;
    for (std::uint8_t& byte : garbage)
        byte = static_cast<std::uint8_t>((state = state * 1103515245U + 12345U) >> 16U);
    garbage[4] = 0xFF;  // no sender of garbage has a length in bounds for long
    garbage[14] = 0xFF;
    rows.push_back({names.back().c_str(), garbage, {}, false});
    return rows;
}

using Row = std::tuple<Transport, std::size_t>;

class Server_hostile_test : public Server_test, public ::testing::WithParamInterface<Row> {};

TEST_P(Server_hostile_test, IsAnsweredByTheTableAndHarmsNobody) {
    auto const [transport, number] = GetParam();
    bool const stream = transport == Transport::tcp;
    std::uint16_t const service = stream ? TCP_SERVICE : UDP_SERVICE;
    Hostile const row = hostileFrames(service).at(number);
    Endpoint const endpoint = stream ? tcp() : udp();
    Raw_socket other(endpoint);
    Raw_socket peer(endpoint);

    peer.send(row.bytes);

    if (row.code && (stream || !row.segment)) {
        auto const answer = peer.read();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->header.code, *row.code);
        EXPECT_EQ(answer->header.type, 0x81);
        EXPECT_EQ(answer->header.client, 0x0101);
        EXPECT_EQ(answer->header.session, 1);
        EXPECT_EQ(answer->header.protocolVersion, 1);
        EXPECT_TRUE(answer->payload.bytes().empty());
    }
    if (row.survives || !stream)
        expectEcho(peer, service);
    else
        EXPECT_TRUE(peer.isClosedByPeer());
    expectEcho(other, service);
    Raw_socket next(endpoint);
    expectEcho(next, service);
}

std::string rowName(::testing::TestParamInfo<Row> const& info) {
    auto const& [transport, number] = info.param;
    return std::string(transport == Transport::tcp ? "Tcp" : "Udp") +
           hostileFrames(TCP_SERVICE).at(number).name;
}
INSTANTIATE_TEST_SUITE_P(Frames, Server_hostile_test,
                         ::testing::Combine(::testing::Values(Transport::tcp, Transport::udp),
                                            ::testing::Range(std::size_t{0},
                                                             hostileFrames(TCP_SERVICE).size())),
                         rowName);

}  // namespace
}  // namespace eb::com::runtime::someip
