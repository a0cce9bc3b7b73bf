#pragma once

#include <condition_variable>
#include <mutex>

namespace zvg::val::diag_ara::services {

/// A mutex whose waiters may give up: whoever waits for it while its owner is being destroyed lets go instead
/// of holding the destructor back. Otherwise as std::mutex.
class StoppableMutex {
public:
    /// Waits for as long as it takes.
    void lock() {
        std::unique_lock guard(m_guard);
        m_changed.wait(guard, [this] { return !m_held; });
        m_held = true;
    }

    /// Locks unless `stopped()` is true by then: asked at first, and again after each unlock and wake. Tell
    /// by the lock that comes back whether it has.
    template <class Stopped>
    [[nodiscard]] std::unique_lock<StoppableMutex> lockUnless(Stopped stopped) {
        std::unique_lock guard(m_guard);
        bool given = false;
        m_changed.wait(guard, [&] {
            given = stopped();
            return given || !m_held;
        });
        if (given) return {*this, std::defer_lock};
        m_held = true;
        return {*this, std::adopt_lock};
    }

    void unlock() {
        std::lock_guard const guard(m_guard);
        m_held = false;
        m_changed.notify_all();
    }

    /// Has everybody who waits ask `stopped` again.
    void wake() {
        std::lock_guard const guard(m_guard);
        m_changed.notify_all();
    }

private:
    std::mutex m_guard;  // held for a look at m_held or a change of it
    std::condition_variable m_changed;
    bool m_held = false;  // guarded by m_guard
};

}  // namespace zvg::val::diag_ara::services
