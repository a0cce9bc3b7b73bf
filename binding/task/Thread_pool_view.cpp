#include <algorithm>

#include <ac/com/Thread_pool_view.h>

#include "binding/task/Post.h"

namespace ac::com {

/// Takes the calling thread off the list of those that are inside a task, at the end of its scope.
class Thread_pool_view::Running_thread_guard {
public:
    explicit Running_thread_guard(Running& running) : m_running(running) {
        std::lock_guard const lock(m_running.m_mutex);
        m_running.m_runningThreads.push_back(std::this_thread::get_id());
    }
    ~Running_thread_guard() {
        std::lock_guard const lock(m_running.m_mutex);
        auto& threads = m_running.m_runningThreads;
        threads.erase(std::ranges::find(threads, std::this_thread::get_id()));
    }
    Running_thread_guard(Running_thread_guard const&) = delete;
    Running_thread_guard& operator=(Running_thread_guard const&) = delete;

private:
    Running& m_running;
};

/// A task on its way. Counted from its post to its destruction: a task that throws, or that the pool drops,
/// is counted down like any other.
class Thread_pool_view::Pending_task {
public:
    Pending_task(std::shared_ptr<Running> running, std::function<void()> task) noexcept
        : m_running(std::move(running)), m_task(std::move(task)) {}
    ~Pending_task() {
        m_task = nullptr;  // what it holds may end before a waiter goes on
        if (m_counted) {
            std::lock_guard const lock(m_running->m_mutex);
            m_running->count_down(1);
        }
    }
    Pending_task(Pending_task const&) = delete;
    Pending_task& operator=(Pending_task const&) = delete;

    /// Counts the task; false if the view takes none any more.
    bool count() {
        std::lock_guard const lock(m_running->m_mutex);
        if (m_running->m_state == 2) {
            return false;
        }
        ++m_running->m_pending;
        m_counted = true;
        return true;
    }

    void run() {
        Running_thread_guard const guard(*m_running);
        std::function<void()> const task = std::move(m_task);
        task();
    }

private:
    std::shared_ptr<Running> m_running;
    std::function<void()> m_task;
    bool m_counted = false;  // written before the pool knows the task
};

Thread_pool_view::Running::Running(static_thread_pool& pool) : Core(pool) {
    m_runningThreads.reserve(pool.num_threads());
}

Thread_pool_view::Thread_pool_view(static_thread_pool& pool)
    : Thread_pool_view(std::make_shared<Running>(pool)) {}

Thread_pool_view::Thread_pool_view(std::shared_ptr<Running> running) noexcept
    : Task_dispatcher(running), m_running(std::move(running)) {}

Thread_pool_view::~Thread_pool_view() {
    internal_wait();
}

void Thread_pool_view::internal_post(std::function<void()> task) {
    auto const pending = std::make_shared<Pending_task>(m_running, std::move(task));
    if (pending->count()) {
        m_running->m_pool->post([pending] { pending->run(); });
    }
}

bool Thread_pool_view::running_in_this_thread() const {
    std::lock_guard const lock(m_running->m_mutex);
    auto const& threads = m_running->m_runningThreads;
    return std::ranges::find(threads, std::this_thread::get_id()) != threads.end();
}

}  // namespace ac::com
