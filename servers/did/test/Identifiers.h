// The fourteen data identifiers as their clients know them: what the tests hold the servers to.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "servers/test/Bytes.h"

namespace did_test {

using server_test::Bytes;
using server_test::hex;

/// One data identifier.
struct Identifier {
    std::string component;  ///< its key in the registry
    std::uint16_t number;
    std::string interface;           ///< the full name of its service
    std::string logName;             ///< begins each line of its log
    std::vector<std::size_t> fixed;  ///< sizes of the arrays that its data begins with
    std::size_t entry;               ///< bytes of a list entry, 0 without a list
    Bytes sample;                    ///< data of a good response

    bool shortShape() const { return fixed.empty() && number != 0x017D; }
    /// Bytes of data in front of the list.
    std::size_t headSize() const;
    /// The payload of the reply that `data` leads to.
    Bytes reply(Bytes const& data) const;
    /// The payload of a reply of zeros.
    Bytes zeros() const;
};

std::vector<Identifier> const& identifiers();
Identifier const& identifier(std::uint16_t number);

/// `count` bytes that differ from their neighbours and from zero.
Bytes pattern(std::size_t count);
/// `data` filled up with zeros to that size, or cut to it.
Bytes resized(Bytes data, std::size_t size);

/// The payload of a VAL response message. `count` tells another number of data bytes than there are.
Bytes response(std::uint16_t requestId, Bytes const& data);

void PrintTo(Identifier const& value, std::ostream* stream);

}  // namespace did_test
