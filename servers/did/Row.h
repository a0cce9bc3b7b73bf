#pragma once

#include <array>
#include <cstdint>
#include <limits>

#include "core/Trace.h"

namespace zvg::val::diag_ara::services {

/// One test of a response. It passes if the identifier is the row's (where that is asked for) and the
/// number of data bytes lies within [min, max]; the default passes everything.
struct Check {
    bool identifier = false;
    std::uint16_t min = 0;
    std::uint16_t max = std::numeric_limits<std::uint16_t>::max();
    /// Written when the test fails. With a tail, the number of data bytes stands between the two.
    char const* text = nullptr;
    char const* tail = nullptr;
    eLogLevel level = level::DETAIL;
};

/// All that tells one data identifier's server from the thirteen others. The layout of its data is not
/// here: it follows from the fields of the interface's Output (see Response::copyTo).
struct Row {
    /// The data identifier, in requests and in responses.
    std::uint16_t requestId;
    /// Begins every line of the server's log.
    char const* serviceName;
    /// Applied in this order; the first that fails is reported and ends the decoding.
    std::array<Check, 2> checks;
    /// Bytes of one entry of the list that ends the data. Without entries all the data is one list.
    std::uint16_t entrySize = 0;
    /// Written when a response arrives, before it is looked at.
    char const* announcement = nullptr;
    /// Whether the result of unpacking is written, also when it is good.
    bool tellsResult = false;
    /// Written with the number of entries before they are copied; the record follows once more after them.
    char const* countText = nullptr;
};

/// The test of a list's length after the identifier's.
constexpr Check atMost(std::uint16_t max) {
    return {.max = max, .text = "Length of message is too large. Size of message: ", .tail = ""};
}

/// The maximum of a length test that demands room for `entries` entries behind `fixed` bytes.
constexpr std::uint16_t listLimit(unsigned fixed, unsigned entries, unsigned entrySize) {
    return static_cast<std::uint16_t>(fixed + entries * entrySize);
}

}  // namespace zvg::val::diag_ara::services
