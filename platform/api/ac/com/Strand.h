#pragma once

#include <deque>
#include <functional>
#include <thread>
#include <utility>

#include <ac/com/Task_dispatcher.h>

namespace ac::com {

/// Runs tasks one at a time, in order of arrival, on any thread of the pool.
class ARA_API Strand final : public Task_dispatcher {
public:
    explicit Strand(static_thread_pool& pool);
    /// Accepts nothing further and waits for all tasks. From inside a task it doesn't wait, and drops the
    /// tasks behind that one.
    ~Strand() override;

    /// Hands over a task; on a stopped strand it is dropped without a word.
    template <class F>
    void post(F&& task) {
        internal_post(std::function<void()>(std::forward<F>(task)));
    }

    bool running_in_this_thread() const override;

    /// The runtime's half: runs the queued tasks one after another until none is left. Called on a pool
    /// thread, once for each time that the strand gets work.
    void run();

private:
    class Pending_run;

    void internal_post(std::function<void()> task);
    void drop_queued();

    std::thread::id m_runningThread;  // guarded by m_mutex; the thread inside the strand
    std::deque<std::function<void()>>
        m_tasks;  // guarded by m_mutex; the one that is running is counted as well
};

}  // namespace ac::com
