#pragma once

#include <cstdint>

#include "core/ValStatus.h"

namespace zvg::val::diag_ara::services {

/// Asks Java for the value of a data identifier. Returns when Java's listener has returned.
eValStatus sendReadRequest(std::uint16_t requestId);

}  // namespace zvg::val::diag_ara::services
