#pragma once

#include <cstdint>
#include <string>

#include <ac/com/Exceptions.h>

#include "core/Service.h"

namespace zvg::val::diag_ara::services {

/// Asks Java for the value of a data identifier. Returns when Java's listener has returned.
eValStatus sendReadRequest(std::uint16_t requestId);

/// Tells the platform's log that a server's skeleton could not be made.
void traceInstantiationError(std::string const& instanceId, ac::com::Invalid_argument_exception const& error);

}  // namespace zvg::val::diag_ara::services
