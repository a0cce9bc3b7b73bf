// The names and meanings of the codes that a reply can carry.
#pragma once

#include <string>

namespace tester {

/// The meaning of a SOME/IP return code: "E_NOT_READY: the service is known but can't take calls now".
std::string returnCodeMeaning(unsigned char code);

/// The name of a UDS negative response code by ISO 14229-1: "incorrectMessageLengthOrInvalidFormat".
std::string negativeResponseName(unsigned char code);

}  // namespace tester
