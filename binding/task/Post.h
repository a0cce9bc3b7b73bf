// The half of the pool that is compiled where tasks are posted.
#pragma once

#include <mutex>
#include <utility>

#include <ac/com/static_thread_pool.h>

namespace ac::com {

template <class F>
bool static_thread_pool::post(F&& task) {
    if (m_poolState.load() == 2) {
        return false;
    }
    // One unit of work for this post itself: the pool doesn't end in the middle of it.
    m_outstanding.fetch_add(1, std::memory_order_relaxed);
    bool accepted = false;
    try {
        std::lock_guard const lock(m_mutex);
        if (m_poolState.load() != 2) {
            m_queue.emplace_back(std::forward<F>(task));
            m_outstanding.fetch_add(1, std::memory_order_relaxed);  // and one for the task
            accepted = true;
        }
    } catch (...) {
        sub_outstanding_work();
        throw;
    }
    if (accepted) {
        m_wake.notify_one();
    }
    sub_outstanding_work();
    return accepted;
}

}  // namespace ac::com
