#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace server_test {

using Bytes = std::vector<std::uint8_t>;

std::string hex(Bytes const& bytes);

}  // namespace server_test
