#include "tools/tester/Probe.h"

#include <charconv>

#include <asio.hpp>

namespace tester {

Endpoint parseEndpoint(std::string const& text) {
    Endpoint endpoint;
    auto const blank = text.find(' ');
    endpoint.transport = text.substr(0, blank);
    auto const colon = text.rfind(':');
    if (blank == std::string::npos || colon == std::string::npos || colon < blank) return endpoint;
    endpoint.address = text.substr(blank + 1, colon - blank - 1);
    std::from_chars(text.data() + colon + 1, text.data() + text.size(), endpoint.port);
    return endpoint;
}

Listening probe(Endpoint const& endpoint, std::chrono::milliseconds limit) {
    asio::error_code error;
    auto const address = asio::ip::make_address(endpoint.address, error);
    if (endpoint.transport != "tcp" || error) return Listening::unknown;
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    Listening result = Listening::no;
    socket.async_connect({address, endpoint.port}, [&result](asio::error_code const& failed) {
        if (!failed) result = Listening::yes;
    });
    context.run_for(limit);
    return result;
}

}  // namespace tester
