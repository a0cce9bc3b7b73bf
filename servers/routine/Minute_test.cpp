// The real time-out, once: all methods of all servers side by side.
#include <gtest/gtest.h>

#include "servers/routine/test/Routines.h"

namespace routine_test {
namespace {

using Clock = std::chrono::steady_clock;

class Minute : public Vehicle {};

TEST_F(Minute, PassesBeforeARequestWithoutAResponseEnds) {
    // Given
    struct Waiting {
        Routine routine;
        Method method;
        Clock::time_point asked;
        std::shared_ptr<Call> call;
        std::shared_ptr<std::atomic<Clock::rep>> answered = std::make_shared<std::atomic<Clock::rep>>(0);
    };
    std::vector<Waiting> all;
    for (Routine const& routine : routines()) {
        for (Method const method : METHODS) {
            Waiting& one = all.emplace_back(Waiting{routine, method, Clock::now(), nullptr});
            one.call = call(routine, method, {0, 0, 0, 0},
                            [when = one.answered] { *when = Clock::now().time_since_epoch().count(); });
        }
    }
    awaitRequest(all.size());
    // When
    auto const end = Clock::now() + std::chrono::seconds(60) + PATIENCE;
    for (Waiting const& one : all) {
        while (*one.answered == 0 && Clock::now() < end) one.call->await();
    }
    // Then
    for (Waiting const& one : all) {
        SCOPED_TRACE(one.routine.name + " " + std::to_string(one.method));
        ASSERT_NE(*one.answered, 0);
        EXPECT_EQ(one.call->returnCode(), 0);
        EXPECT_EQ(hex(one.call->payload()), one.method == REQUEST_RESULTS ? "20" : "");
        EXPECT_GE(Clock::duration(*one.answered), one.asked.time_since_epoch() + std::chrono::seconds(60));
    }
}

}  // namespace
}  // namespace routine_test
