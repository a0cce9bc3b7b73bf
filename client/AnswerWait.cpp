#include "client/AnswerWait.h"

#include "client/Constants.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

[[gnu::weak]] std::chrono::milliseconds answerWait() {
    return std::chrono::seconds(Constants::FUTURE_TIMEOUT);
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
