#pragma once

#include <cstdint>

namespace ac::dm::types {

/// A UDS negative response code (ISO 14229-1, annex A.1).
enum class UDSResponseCodeType : std::uint8_t {
    kIncorrectMessageLengthOrInvalidFormat = 0x13,
    kFailurePreventsExecutionOfRequestedAction = 0x26,
    kUnspecified = 0xFF,
};

}  // namespace ac::dm::types
