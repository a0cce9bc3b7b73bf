#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace tester {

/// Runs tasks at their times, one after another on a thread of its own. Any thread may add tasks, a task too.
/// Destruction drops what hasn't begun and joins the thread.
class Agenda {
public:
    using Time = std::chrono::steady_clock::time_point;

    Agenda();
    ~Agenda();
    Agenda(Agenda const&) = delete;
    Agenda& operator=(Agenda const&) = delete;

    /// Takes at most LIMIT tasks at a time and drops the rest; false tells so.
    bool at(Time time, std::function<void()> task);

    static constexpr std::size_t LIMIT = 10'000;

private:
    void work(std::stop_token const& stop);

    std::mutex m_mutex;
    std::condition_variable_any m_changed;
    std::multimap<Time, std::function<void()>> m_tasks;  // guarded by m_mutex
    std::jthread m_thread;                               // started last
};

}  // namespace tester
