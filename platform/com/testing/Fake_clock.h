#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/com/runtime/Loop.h"

namespace eb::com::runtime::testing {

/// The time of all runtimes of a test. It stands still until the test moves it on, so that hours pass in
/// milliseconds and nothing ever depends on the speed of the machine. Nor on luck: the pauses by chance of
/// each runtime are those of its number and of the seed.
///
/// Owned by the test; its destructor drops the tasks that wait. Clocks, and copies of it, share its state, so
/// that a runtime may outlive it, whose time then stands still. Any thread, but `advance` and `settle` on one
/// thread alone, which is no io thread.
class Fake_clock {
public:
    explicit Fake_clock(std::uint64_t seed = 1);
    /// Tells the same time; drops nothing.
    Fake_clock(Fake_clock const& other) : m_state(other.m_state) {}
    Fake_clock& operator=(Fake_clock const&) = delete;
    ~Fake_clock();

    /// The clock of one runtime. Its tasks run on that loop.
    std::unique_ptr<Clock> of(std::shared_ptr<Loop> const& loop);

    /// Runs a task on a loop when `delay` has passed; without delay, at once. Nobody takes it back.
    void later(std::shared_ptr<Loop> const& loop, std::chrono::milliseconds delay,
               std::function<void()> task);

    /// Moves the time on, from one instant for which there are tasks to the next. What they set off on other
    /// loops has happened before the time goes on from there, and so has everything when it returns; all but
    /// what goes through a pool or through the thread for answers.
    void advance(std::chrono::milliseconds time);

    /// Waits until the loops have nothing more to do at this instant.
    void settle();

    std::chrono::milliseconds now() const;

    struct State;

private:
    std::shared_ptr<State> const m_state;
    bool const m_original = false;
};

}  // namespace eb::com::runtime::testing
