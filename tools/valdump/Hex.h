// Bytes as hex digits.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace valdump {

using Bytes = std::span<unsigned char const>;

/// What is wrong with the user's text, and where.
struct BadInput : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Takes hex as people write it: two digits a byte, together or apart by blanks, line ends, commas, colons or
/// semicolons, dashes and brackets, with or without 0x: "7d01", "7D 01", "{0x7d, 0x1}", "7d:01". Throws
/// BadInput.
std::vector<unsigned char> parseHex(std::string_view text);

/// "7D 01".
std::string spacedHex(Bytes bytes);
/// "7d01".
std::string plainHex(Bytes bytes);

}  // namespace valdump
