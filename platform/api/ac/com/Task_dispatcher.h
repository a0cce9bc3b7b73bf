#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include <ac/com/static_thread_pool.h>

namespace ac::com {

/// Base of the two ways to run tasks on a pool: side by side (Thread_pool_view) or one at a time (Strand).
///
///        post                     internal_wait, tasks pending
///   .--> 0 running ------------------------------------------------> 1 draining
///   '------'  \                                                        | last task ended
///              \ internal_wait with nothing pending; ~Strand           v
///               '--------------------------------------------------> 2 stopped  (posts are dropped)
///
/// A dispatcher that was drained once stays stopped. Any thread may post and wait.
class ARA_API Task_dispatcher {
public:
    virtual ~Task_dispatcher() = default;
    Task_dispatcher(Task_dispatcher const&) = delete;
    Task_dispatcher& operator=(Task_dispatcher const&) = delete;

    /// Whether the calling thread is inside one of this dispatcher's tasks.
    virtual bool running_in_this_thread() const = 0;

    /// Refuses what is posted after the last pending task, and waits until that has ended. Returns at once
    /// when called from inside one of the dispatcher's own tasks, which would wait for itself.
    virtual void internal_wait() = 0;

protected:
    explicit Task_dispatcher(static_thread_pool& pool) noexcept : m_pool(&pool) {}

    static_thread_pool* m_pool;
};

}  // namespace ac::com
