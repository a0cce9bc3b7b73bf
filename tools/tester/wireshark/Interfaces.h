// The interfaces that the tester knows, as a dissector needs them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/tester/wireshark/Shapes.h"

namespace tester::wireshark {

/// What an interface's messages hold.
struct Interface {
    std::string name;    ///< in full, as the manifest has it
    std::string prefix;  ///< of its fields: "d_b047"

    /// At the index that the interface counts its methods by: the lists of shapes `request` and `reply`, and
    /// `errors`, objects with `code` (the return code) and `fields`.
    std::vector<Json> methods;
    /// The list of shapes `event` of each event, likewise.
    std::vector<Json> events;
};

std::vector<Interface> interfaces();

/// The tables that shapes refer to: by their names, lists of pairs of value and name.
Json valueNames();

}  // namespace tester::wireshark
