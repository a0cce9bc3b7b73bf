#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace tester::wireshark {

/// The value as Lua writes it: objects and arrays are tables. Keys have to be Lua names, and no key words.
/// What doesn't fit into a line stands on several, each begun by so many blanks.
std::string lua(nlohmann::ordered_json const& value, std::size_t indent = 0);

}  // namespace tester::wireshark
