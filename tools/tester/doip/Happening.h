// What the gateway has to tell, for the lines that people and scripts read.
#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <string>

#include "tools/tester/doip/Protocol.h"

namespace tester::doip {

struct Happening {
    enum class Kind : std::uint8_t {
        connection,  ///< opened, closed, its session has ended
        received,    ///< a frame, but for diagnostic messages
        sent,
        request,   ///< the UDS message of a diagnostic message
        response,  ///< likewise
        code,      ///< a trouble code's event
    };

    Kind kind;
    std::string peer;    ///< "127.0.0.1:40112"; a trouble code's digits
    Message bytes;       ///< as it crossed the wire, cut to BYTES_MOST
    std::size_t length;  ///< of all bytes
    std::string meaning;
    std::optional<double> milliseconds;  ///< of a response: since the request, or since the last 0x78

    static constexpr std::size_t BYTES_MOST = 256;

    Happening(Kind what, std::string who, Bytes all, std::string text)
        : kind(what),
          peer(std::move(who)),
          bytes(all.begin(), all.begin() + std::ptrdiff_t(std::min(all.size(), BYTES_MOST))),
          length(all.size()),
          meaning(std::move(text)) {}
};

/// Takes what happened, on any thread; doesn't block.
using Tell = std::function<void(Happening)>;

}  // namespace tester::doip
