// Messages in the lines of a log.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/valdump/Payload.h"

namespace valdump {

/// A message that a line shows.
struct Logged {
    Message const* message;
    std::vector<unsigned char> bytes;
    bool isCut;  ///< the line leaves bytes out
};

/// Finds all messages of a line: a known id or name with hex behind it. Behind the id, after "->" or "<-",
/// the bytes end where no more follow ("<- 548  95 00 00 00 00  adaptation 149 changed"); otherwise they have
/// to reach the line's end
/// ("2350: 7d01 0000"). "(empty)" stands for no bytes, " ... " for some that were left out.
std::vector<Logged> findMessages(std::string_view line);

/// A message by id ("2350", "0x92E") or by name; null if there is none.
Message const* messageOf(std::string_view idOrName);

}  // namespace valdump
