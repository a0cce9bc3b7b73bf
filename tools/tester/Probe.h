// Whether somebody listens at an endpoint.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tester {

enum class Listening : std::uint8_t { yes, no, unknown };

/// An endpoint as the runtime tells it, taken apart: "tcp 127.0.0.1:30509", "local".
struct Endpoint {
    std::string transport;
    std::string address;  ///< empty unless the endpoint has one
    std::uint16_t port = 0;
};

Endpoint parseEndpoint(std::string const& text);

/// Connects by TCP and closes again without sending anything. Unknown for transports that don't connect.
Listening probe(Endpoint const& endpoint, std::chrono::milliseconds limit);

}  // namespace tester
