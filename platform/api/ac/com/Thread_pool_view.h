#pragma once

#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include <ac/com/Task_dispatcher.h>

namespace ac::com {

/// Runs tasks side by side, on as many of the pool's threads as are free.
class ARA_API Thread_pool_view final : public Task_dispatcher {
public:
    explicit Thread_pool_view(static_thread_pool& pool);
    /// Waits for all tasks, except from inside one of them.
    ~Thread_pool_view() override;

    /// Hands over a task; on a stopped view it is dropped without a word.
    template <class F>
    void post(F&& task) {
        internal_post(std::function<void()>(std::forward<F>(task)));
    }

    bool running_in_this_thread() const override;

private:
    class Running_thread_guard;
    class Pending_task;

    void internal_post(std::function<void()> task);

    std::vector<std::thread::id> m_runningThreads;  // guarded by m_mutex; pool threads inside a task
};

}  // namespace ac::com
