#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include <ac/com/Deadline_guard.h>

namespace eb::com::runtime {

class Process_runtime;

/// Looks at the users' functions that run in this process, on the io thread of its runtime, so that one that
/// hangs is reported while it hangs. One for the process, never destroyed.
///
/// It sleeps until the earliest of them is due. A function that begins while a look is planned anyway costs
/// two exchanges under the mutex, and wakes no thread. Without a runtime no look takes place.
class Overrun_watch {
public:
    static Overrun_watch& ofProcess();

    /// Whose io thread looks from now on; null for none.
    void runOn(std::weak_ptr<Process_runtime> runtime);

    /// Any thread.
    void begin(ac::com::Deadline_guard& guard);
    /// The io thread doesn't use the guard afterwards. Any thread.
    void end(ac::com::Deadline_guard const& guard);

private:
    using Time = std::chrono::steady_clock::time_point;

    void look();
    void lookAt(Process_runtime& runtime, Time time);

    std::mutex m_mutex;
    std::condition_variable m_reported;
    std::vector<ac::com::Deadline_guard*> m_running;  // guarded by m_mutex
    std::weak_ptr<Process_runtime> m_runtime;         // guarded by m_mutex
    Time m_nextLook = Time::max();                    // guarded by m_mutex
};

}  // namespace eb::com::runtime
