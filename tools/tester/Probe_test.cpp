#include "tools/tester/Probe.h"

#include <gtest/gtest.h>
#include <asio.hpp>

namespace tester {
namespace {

using asio::ip::tcp;
constexpr std::chrono::milliseconds LIMIT{2000};

TEST(Endpoint, IsTakenApart) {
    Endpoint const endpoint = parseEndpoint("tcp 127.0.0.1:30509");
    EXPECT_EQ(endpoint.transport, "tcp");
    EXPECT_EQ(endpoint.address, "127.0.0.1");
    EXPECT_EQ(endpoint.port, 30509);
}

TEST(Endpoint, WithoutAnAddressIsItsTransportAlone) {
    for (char const* text : {"local", "tcp", "", "tcp somewhere"}) {
        Endpoint const endpoint = parseEndpoint(text);
        EXPECT_EQ(endpoint.address, "") << text;
        EXPECT_EQ(endpoint.port, 0) << text;
    }
    EXPECT_EQ(parseEndpoint("local").transport, "local");
}

TEST(Probe, ListenerIsSeenWithoutABytesSent) {
    // Given somebody who listens on a free port
    asio::io_context context;
    tcp::acceptor acceptor(context, {asio::ip::address_v4::loopback(), 0});
    EXPECT_EQ(probe({"tcp", "127.0.0.1", acceptor.local_endpoint().port()}, LIMIT), Listening::yes);
    // Then the connection that arrived was closed with nothing in it
    tcp::socket peer = acceptor.accept();
    char byte = 0;
    asio::error_code error;
    EXPECT_EQ(peer.read_some(asio::buffer(&byte, 1), error), 0U);
    EXPECT_EQ(error, asio::error::eof);
}

TEST(Probe, NobodyIsToldAtOnce) {
    // Given a port that was free a moment ago
    asio::io_context context;
    std::uint16_t const port =
        tcp::acceptor(context, {asio::ip::address_v4::loopback(), 0}).local_endpoint().port();
    EXPECT_EQ(probe({"tcp", "127.0.0.1", port}, LIMIT), Listening::no);
}

TEST(Probe, WhatCannotBeConnectedIsUnknown) {
    EXPECT_EQ(probe({"udp", "127.0.0.1", 30509}, LIMIT), Listening::unknown);
    EXPECT_EQ(probe({"local", "", 0}, LIMIT), Listening::unknown);
}

}  // namespace
}  // namespace tester
