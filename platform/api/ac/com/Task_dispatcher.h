#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include <ac/com/static_thread_pool.h>

namespace ac::com {

/// Base of the two ways to run tasks on a pool: side by side (Thread_pool_view) or one at a time (Strand).
///
///          post                 internal_wait with tasks pending
///   .--> 0 running -------------------------------------> 1 draining <--. post
///   '------'  |                                             |    '------'
///             | internal_wait with nothing pending;         | last task ended
///             | ~Strand                                     v
///             '-----------------------------------------> 2 stopped  (posts are dropped)
///
/// A dispatcher that was drained once stays stopped. Waiters are released when it is stopped and nothing is
/// pending. Any thread may post and wait. Destruction drains; inside one of its own tasks it doesn't wait,
/// and nothing of the dispatcher is used any more when that task and others under way end.
class ARA_API Task_dispatcher {
public:
    virtual ~Task_dispatcher();
    Task_dispatcher(Task_dispatcher const&) = delete;
    Task_dispatcher& operator=(Task_dispatcher const&) = delete;

    /// Whether the calling thread is inside one of this dispatcher's tasks.
    virtual bool running_in_this_thread() const = 0;

    /// Lets the dispatcher stop with its last pending task, and waits for that. Returns at once when called
    /// from inside one of the dispatcher's own tasks, which would wait for itself.
    void internal_wait();

protected:
    explicit Task_dispatcher(static_thread_pool& pool) noexcept : m_pool(&pool) {}

    /// Counts tasks that were posted and will not run again. m_mutex must be held: a waiter may destroy the
    /// dispatcher as soon as it is released.
    void count_down(std::uint32_t tasks) {
        m_pending -= tasks;
        if (m_pending == 0 && m_state != 0) {
            m_state = 2;
            m_idle.notify_all();
        }
    }

    static_thread_pool* const m_pool;
    mutable std::mutex m_mutex;
    std::uint8_t m_state = 0;        // guarded by m_mutex
    std::uint32_t m_pending = 0;     // guarded by m_mutex; tasks posted and not yet ended
    std::condition_variable m_idle;  // notified with m_mutex held
};

}  // namespace ac::com
