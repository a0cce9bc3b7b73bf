// The fourteen data identifiers: how they are named, and how their replies are read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tester/Fields.h"

namespace tester {

struct DataIdentifier {
    std::uint16_t number;
    std::uint32_t version;  ///< of the interface: major in the upper half, minor in the lower
    std::string interface;  ///< "DataIdentifier_ParameterList"
    std::string service;    ///< the full name that the runtime knows the interface by
    Decoded (*decode)(std::vector<unsigned char> const& payload);

    /// "ParameterList".
    std::string_view shortName() const noexcept;
};

/// Methods count from 0 in alphabetical order.
constexpr unsigned short METHOD_CANCEL = 0;
constexpr unsigned short METHOD_READ = 1;

/// All of them, in the order of their registration. Made once, never changed: any thread may read it.
std::vector<DataIdentifier> const& dataIdentifiers();

/// The data identifier that a user means: a hexadecimal number with or without "0x", "d_b047" or the
/// interface's name with or without "DataIdentifier_", in any case of letters. Null if there is none.
DataIdentifier const* findDataIdentifier(std::string_view text);

/// Says why `text` names no data identifier, and lists those that can be named.
std::string unknownDataIdentifier(std::string_view text);

}  // namespace tester
