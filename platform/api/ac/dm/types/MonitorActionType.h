#pragma once

#include <cstdint>

namespace ac::dm::types {

/// What a monitor reports of its trouble code. Travels as one byte.
enum class MonitorActionType : std::uint8_t {
    kPassed = 0,
    kFailed = 1,
};

}  // namespace ac::dm::types
