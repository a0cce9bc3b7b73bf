#pragma once

#include <chrono>
#include <functional>

#include <ara/log/Logger.h>

namespace eb::com::runtime {
class Overrun_watch;
}

namespace ac::com {

/// Watches a user's function while it lives: reports how long it ran if that was longer than the limit. A
/// function that has taken twice its limit is reported while it still runs, and once more when it ends, so
/// that one that hangs is known, and one that is merely late stands in a single line with its whole time.
class ARA_API Deadline_guard {
public:
    /// `limit` in milliseconds. `overrun` is called with the time in milliseconds: by the destructor, on the
    /// same thread, and for a function that still runs by a runtime thread, as long as a runtime exists. It
    /// must not wait for the function that it reports; what it throws is dropped.
    Deadline_guard(unsigned long const& limit, std::function<void(unsigned long)> overrun);
    /// No call of `overrun` runs afterwards.
    ~Deadline_guard();
    Deadline_guard(Deadline_guard const&) = delete;
    Deadline_guard& operator=(Deadline_guard const&) = delete;

private:
    friend class eb::com::runtime::Overrun_watch;
    using Time = std::chrono::steady_clock::time_point;

    Time due() const noexcept;
    void report_if_late(Time now) const noexcept;

    std::chrono::milliseconds const m_limit;
    std::function<void(unsigned long)> const m_overrun;
    Time const m_begin;
    bool m_reported = false;   // guarded by the watch's mutex; while the function runs
    bool m_reporting = false;  // guarded by the watch's mutex; the watch is inside m_overrun
};

}  // namespace ac::com
