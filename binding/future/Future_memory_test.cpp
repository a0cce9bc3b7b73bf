// Every allocation of `then` and of a completion fails once: nothing hangs, leaks or is lost.
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>

#include "binding/future/Future.h"
#include "tests/support/Allocations.h"

namespace eb::com {
namespace {

using test::Allocations;

/// Runs `action` with its n-th allocation failing, for n = 0, 1, ... until it comes through; tells how many
/// failed. `check` looks at the world after each.
template <class Prepare, class Action, class Check>
int failEachAllocation(Prepare const& prepare, Action const& action, Check const& check) {
    for (int failing = 0; failing < 100; ++failing) {
        auto world = prepare();
        bool failed = false;
        Allocations::left = failing;
        try {
            action(*world);
        } catch (std::bad_alloc const&) {
            failed = true;
        }
        Allocations::left = -1;
        check(*world, failed);
        if (!failed) {
            return failing;
        }
    }
    ADD_FAILURE() << "never came through";
    return -1;
}

struct World {
    Promise<int> promise;
    Future<int> future = promise.get_future();
    std::shared_ptr<int> runs = std::make_shared<int>(0);
    std::string text = std::string(100, 'x');  // makes the continuation too large for any small buffer
};

TEST(Future_memory, ThenThatFailsLeavesTheFutureAsItWas) {
    int const failures = failEachAllocation(
        [] { return std::make_unique<World>(); },
        [](World& world) {
            world.future.then([runs = world.runs, text = world.text](Future<int> result) {
                *runs += result.get() + (text.empty() ? 1 : 0);
            });
        },
        [](World& world, bool failed) {
            EXPECT_EQ(world.future.valid(), failed);
            if (failed) {
                EXPECT_EQ(world.runs.use_count(), 1);
                world.future.then([&](Future<int> result) { *world.runs += result.get(); });
            }
            world.promise.set_value(1);
            EXPECT_EQ(*world.runs, 1);
        });
    EXPECT_GE(failures, 4) << "of closure, link, promise and its state";
}

TEST(Future_memory, ThenOnAReadyFutureThatFailsLeavesItAsItWas) {
    failEachAllocation(
        [] {
            auto world = std::make_unique<World>();
            world->promise.set_value(1);
            return world;
        },
        [](World& world) {
            world.future.then(
                [runs = world.runs, text = world.text](Future<int>) { *runs += text.empty() ? 0 : 1; });
        },
        [](World& world, bool failed) { EXPECT_EQ(*world.runs, failed ? 0 : 1); });
}

TEST(Future_memory, NewPromiseThatFailsLeavesNothing) {
    failEachAllocation([] { return std::make_unique<int>(); }, [](int&) { Promise<int> const promise; },
                       [](int&, bool) {});
}

TEST(Future_memory, CompletionNeedsNoMemory) {
    World world;
    world.future.then([runs = world.runs, text = world.text](Future<int>) { ++*runs; });
    Allocations::left = 0;
    EXPECT_NO_THROW(world.promise.set_value(1));
    Allocations::left = -1;
    EXPECT_EQ(*world.runs, 1);
}

}  // namespace
}  // namespace eb::com
