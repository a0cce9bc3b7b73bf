#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <ara/log/Logger.h>

namespace ac::com {

/// A fixed set of worker threads that run posted tasks in order of arrival.
///
/// The runtime owns the pools and ends them only after every dispatcher has gone. A task that throws is
/// logged and ended; it takes neither its thread nor the process with it. Any thread may post, a worker
/// too; the definition of post stands in binding/task.
///
/// State machine (m_poolState): 0 running -> 2 stopped.
class ARA_API static_thread_pool {
public:
    /// Starts `threads` workers (at least one).
    explicit static_thread_pool(std::size_t threads);
    /// Refuses further tasks, drops those that have not begun, joins the workers and lets posts under way
    /// end.
    ~static_thread_pool();
    static_thread_pool(static_thread_pool const&) = delete;
    static_thread_pool& operator=(static_thread_pool const&) = delete;

    /// Hands over a task. On a stopped pool the task is dropped without a word; false tells so.
    template <class F>
    bool post(F&& task);

    /// Takes one off the count of outstanding work and wakes the pool when it reaches zero.
    void sub_outstanding_work() noexcept;

    /// The number of workers.
    std::size_t num_threads() const noexcept;

private:
    void work();
    void stop() noexcept;

    std::deque<std::function<void()>> m_queue;  // guarded by m_mutex
    std::mutex m_mutex;
    std::condition_variable m_wake;              // told of tasks, of the stop, and of no work left
    std::atomic<std::uint8_t> m_poolState{0};    // written with m_mutex held, read without
    std::atomic<std::int64_t> m_outstanding{0};  // tasks posted and not yet ended, and posts under way
    std::vector<std::thread> m_threads;          // written by the constructor and the destructor only
};

}  // namespace ac::com
