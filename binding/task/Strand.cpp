#include <ac/com/Strand.h>

#include <exception>
#include <utility>

#include "binding/task/Post.h"

namespace ac::com {

/// A run of the strand on its way to the pool. If the pool drops it, the tasks that it was to run are dropped
/// with it and counted down.
class Strand::Pending_run {
public:
    explicit Pending_run(Strand& strand) noexcept : m_strand(&strand) {}
    Pending_run(Pending_run&& other) noexcept : m_strand(std::exchange(other.m_strand, nullptr)) {}
    /// A std::function asks for it; none that holds a run is ever copied.
    Pending_run(Pending_run const&) { std::terminate(); }
    Pending_run& operator=(Pending_run const&) = delete;
    ~Pending_run() {
        if (m_strand != nullptr) {
            m_strand->drop_queued();
        }
    }

    void operator()() { std::exchange(m_strand, nullptr)->run(); }

private:
    // Until it begins. Lives as long as tasks are pending and none of them is running.
    Strand* m_strand = nullptr;
};

Strand::Strand(static_thread_pool& pool) : Task_dispatcher(pool) {}

Strand::~Strand() {
    {
        std::lock_guard const lock(m_mutex);
        m_state = 2;
    }
    if (running_in_this_thread()) {
        drop_queued();
    } else {
        internal_wait();
    }
}

void Strand::drop_queued() {
    std::deque<std::function<void()>> dropped;  // ends after the lock is released
    std::lock_guard const lock(m_mutex);
    dropped.swap(m_tasks);
    count_down(static_cast<std::uint32_t>(dropped.size()));
}

void Strand::internal_post(std::function<void()> task) {
    {
        std::lock_guard const lock(m_mutex);
        if (m_state == 2) {
            return;
        }
        m_tasks.push_back(std::move(task));
        if (++m_pending != 1) {
            return;  // a run is on its way or under way, and takes this task too
        }
    }
    m_pool->post(std::function<void()>(Pending_run(*this)));  // dropped, it drops the tasks
}

bool Strand::running_in_this_thread() const {
    std::lock_guard const lock(m_mutex);
    return m_runningThread == std::this_thread::get_id();
}

}  // namespace ac::com
