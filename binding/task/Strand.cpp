#include <ac/com/Strand.h>

#include "binding/task/Post.h"

namespace ac::com {

/// A run of the strand on its way to the pool. If the pool drops it, the tasks that it was to run are dropped
/// with it and counted down.
class Strand::Pending_run {
public:
    Pending_run(Strand& strand, std::shared_ptr<Queue> queue) noexcept
        : m_strand(strand), m_queue(std::move(queue)) {}
    ~Pending_run() {
        if (!m_begun) {
            drop_queued(*m_queue);
        }
    }
    Pending_run(Pending_run const&) = delete;
    Pending_run& operator=(Pending_run const&) = delete;

    void run() {
        m_begun = true;
        m_strand.run();
    }

private:
    Strand& m_strand;  // lives as long as tasks are pending and none of them is running
    std::shared_ptr<Queue> m_queue;
    bool m_begun = false;  // used by the thread that runs or drops this
};

Strand::Strand(static_thread_pool& pool) : Strand(std::make_shared<Queue>(pool)) {}

Strand::Strand(std::shared_ptr<Queue> queue) noexcept : Task_dispatcher(queue), m_queue(std::move(queue)) {}

Strand::~Strand() {
    {
        std::lock_guard const lock(m_queue->m_mutex);
        m_queue->m_state = 2;
    }
    if (running_in_this_thread()) {
        drop_queued(*m_queue);
    } else {
        internal_wait();
    }
}

void Strand::drop_queued(Queue& queue) {
    std::deque<std::function<void()>> dropped;  // ends after the lock is released
    std::lock_guard const lock(queue.m_mutex);
    dropped.swap(queue.m_tasks);
    queue.count_down(static_cast<std::uint32_t>(dropped.size()));
}

void Strand::internal_post(std::function<void()> task) {
    {
        std::lock_guard const lock(m_queue->m_mutex);
        if (m_queue->m_state == 2) {
            return;
        }
        m_queue->m_tasks.push_back(std::move(task));
        if (++m_queue->m_pending != 1) {
            return;  // a run is on its way or under way, and takes this task too
        }
    }
    try {
        auto const run = std::make_shared<Pending_run>(*this, m_queue);
        m_queue->m_pool->post([run] { run->run(); });
    } catch (...) {
        drop_queued(*m_queue);
        throw;
    }
}

bool Strand::running_in_this_thread() const {
    std::lock_guard const lock(m_queue->m_mutex);
    return m_queue->m_runningThread == std::this_thread::get_id();
}

}  // namespace ac::com
