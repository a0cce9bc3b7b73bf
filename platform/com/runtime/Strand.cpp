#include <ac/com/Strand.h>

#include <utility>

#include "platform/com/runtime/Run_task.h"

namespace ac::com {

void Strand::run() {
    // A task may end this strand: the queue outlives it, and nothing else of it is used from here on.
    std::shared_ptr<Queue> const queue = m_queue;
    std::unique_lock lock(queue->m_mutex);
    queue->m_runningThread = std::this_thread::get_id();
    while (!queue->m_tasks.empty()) {
        std::function<void()> task = std::move(queue->m_tasks.front());
        queue->m_tasks.pop_front();
        lock.unlock();
        runtime::run_task(std::move(task));
        lock.lock();
        queue->count_down(1);
    }
    queue->m_runningThread = {};
}

}  // namespace ac::com
