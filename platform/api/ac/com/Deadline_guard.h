#pragma once

#include <chrono>
#include <functional>

#include <ara/log/Logger.h>

namespace ac::com {

/// Watches a user's function while it lives: tells how long it ran if that was longer than the limit.
class ARA_API Deadline_guard {
public:
    /// `limit` in milliseconds. `overrun` is called by the destructor, on the same thread, with the time in
    /// milliseconds; what it throws is dropped.
    Deadline_guard(unsigned long const& limit, std::function<void(unsigned long)> overrun);
    ~Deadline_guard();
    Deadline_guard(Deadline_guard const&) = delete;
    Deadline_guard& operator=(Deadline_guard const&) = delete;

private:
    unsigned long const m_limit;
    std::function<void(unsigned long)> const m_overrun;
    std::chrono::steady_clock::time_point const m_begin;
};

}  // namespace ac::com
