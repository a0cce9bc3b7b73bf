#pragma once

#include <chrono>

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

/// How long the reply to a read is waited for: FUTURE_TIMEOUT seconds. A weak symbol, so that a test need not
/// spend them.
std::chrono::milliseconds answerWait();

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
