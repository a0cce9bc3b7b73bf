#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace eb::com::runtime {

/// Runs the functions that users gave the runtime (answers to calls, found services) one after another on a
/// thread of their own, so that none of them can hold up the network. Owned by the runtime.
class Answers {
public:
    Answers();
    ~Answers();
    Answers(Answers const&) = delete;
    Answers& operator=(Answers const&) = delete;

    /// False after `end`, and the task is dropped. Any thread.
    bool post(std::function<void()> task);

    /// Runs what was posted and ends the thread. After `limit` a task that still runs is left behind with its
    /// thread, which touches nothing of the runtime any more; false tells so. Any thread, one of the tasks
    /// too.
    bool end(std::chrono::milliseconds limit);

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<std::function<void()>> tasks;  // guarded by mutex
        bool ended = false;                       // guarded by mutex
        bool gone = false;                        // guarded by mutex: the thread has left
    };
    static void work(State& state);

    std::shared_ptr<State> const m_state;  // the thread owns it as well
    std::thread m_thread;
};

}  // namespace eb::com::runtime
