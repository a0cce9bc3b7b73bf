// A payload for a person.
#pragma once

#include <iosfwd>

#include "tools/valdump/Payload.h"

namespace valdump {

/// The line for the log, the message, and a row for each field: offset, raw bytes, name, value, and what the
/// schema says of it. Without `all`, long blocks and arrays are cut. A failure is left to the caller.
void printTable(std::ostream& out, Message const& message, Bytes bytes, Payload const& payload, bool all);

}  // namespace valdump
