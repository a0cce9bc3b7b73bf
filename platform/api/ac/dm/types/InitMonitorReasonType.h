#pragma once

#include <cstdint>

namespace ac::dm::types {

/// Why the event manager asks a monitor to report again. Travels as one byte; a monitor takes any value.
enum class InitMonitorReasonType : std::uint8_t {
    kClear = 0,      ///< the fault memory was cleared
    kRestart = 1,    ///< an operation cycle began
    kReenabled = 2,  ///< reporting was disabled and is enabled again
};

}  // namespace ac::dm::types
