// The names and meanings of the codes that a reply can carry.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tester {

/// The meaning of a SOME/IP return code: "E_NOT_READY: the service is known but can't take calls now".
std::string returnCodeMeaning(unsigned char code);

/// The name of a UDS negative response code by ISO 14229-1: "incorrectMessageLengthOrInvalidFormat".
std::string negativeResponseName(unsigned char code);

/// All codes that have such a name, in ascending order.
std::vector<std::pair<unsigned char, std::string>> negativeResponses();

/// What the monitor of a trouble code reports: "passed", "failed", "unknown" for any other byte.
std::string monitorStateName(unsigned char state);

/// Why a monitor is asked to report again, by the words that users give.
std::map<std::string, int> const& initReasons();

}  // namespace tester
