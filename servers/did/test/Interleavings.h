// All orders in which threads can meet, one after another.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace did_test {

/// One thread of a scene. It stops wherever it calls pause().
struct Role {
    std::string name;
    std::function<void()> play;
    /// Whether it can begin. Asked again at each step until it has begun.
    std::function<bool()> ready = [] { return true; };
    /// Its first step touches nothing that is shared: it is played in advance, which saves orders.
    bool beginsAlone = false;
};

/// What is played: made anew for each order of steps.
class Scene {
public:
    virtual ~Scene() = default;
    virtual std::vector<Role> roles() = 0;
    /// All that the roles share. Two moments go on alike if they have the same state and if each role has
    /// come the same way and remembers the same.
    virtual std::string state() = 0;
    /// The part of the state that a role keeps in variables of its own after a step.
    virtual std::string memory() = 0;
    /// Called when all roles have ended.
    virtual void check() = 0;
};

/// A point at which the thread of a role stops and lets another go on; on other threads it does nothing.
/// `place` distinguishes one way through the code from another.
void pause(char const* place);

/// What was played.
struct Played {
    std::size_t orders = 0;   ///< to the end
    std::size_t moments = 0;  ///< that differ
};

/// Plays a scene in all orders of its roles' steps: one step at a time, each step from one pause to the next.
/// From a moment that was there before it does not go on. Ends at the first order with a failed check and
/// names it.
Played playAllOrders(std::function<std::unique_ptr<Scene>()> const& makeScene);

}  // namespace did_test
