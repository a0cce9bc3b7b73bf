// Takes the place of the product's own responseWait.
#include "servers/routine/RoutineRequest.h"
#include "servers/routine/test/Routines.h"

namespace routine_test {
std::atomic<std::chrono::milliseconds::rep> waitMilliseconds{0};
}

namespace zvg::val::diag_ara::services {

std::chrono::milliseconds responseWait(std::chrono::milliseconds timeout) {
    auto const chosen = routine_test::waitMilliseconds.load();
    return chosen == 0 ? timeout : std::chrono::milliseconds(chosen);
}

}  // namespace zvg::val::diag_ara::services
