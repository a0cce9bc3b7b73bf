#include "platform/com/runtime/Overrun_watch.h"

#include <algorithm>
#include <utility>

#include "platform/com/runtime/Process_runtime.h"

namespace eb::com::runtime {

using ac::com::Deadline_guard;

Overrun_watch& Overrun_watch::ofProcess() {
    static Overrun_watch& watch = *new Overrun_watch;
    return watch;
}

void Overrun_watch::runOn(std::weak_ptr<Process_runtime> runtime) {
    std::lock_guard lock(m_mutex);
    m_runtime.swap(runtime);
    m_nextLook = Time::max();
}

void Overrun_watch::begin(Deadline_guard& guard) {
    std::shared_ptr<Process_runtime> runtime;  // may end with it, so after the lock is released
    std::lock_guard lock(m_mutex);
    m_running.push_back(&guard);
    if (guard.due() >= m_nextLook) return;
    runtime = m_runtime.lock();
    if (runtime) lookAt(*runtime, guard.due());
}

void Overrun_watch::end(Deadline_guard const& guard) {
    std::unique_lock lock(m_mutex);
    m_reported.wait(lock, [&] { return !guard.m_reporting; });
    m_running.erase(std::find(m_running.begin(), m_running.end(), &guard));
}

void Overrun_watch::look() {
    std::shared_ptr<Process_runtime> runtime;
    std::unique_lock lock(m_mutex);
    Time const now = std::chrono::steady_clock::now();
    for (;;) {
        auto const late = std::find_if(m_running.begin(), m_running.end(), [now](auto const* guard) {
            return !guard->m_reported && guard->due() <= now;
        });
        if (late == m_running.end()) break;
        Deadline_guard& guard = **late;
        guard.m_reported = guard.m_reporting = true;
        lock.unlock();
        guard.report_if_late(now);
        lock.lock();
        guard.m_reporting = false;
        m_reported.notify_all();
    }
    m_nextLook = Time::max();
    for (auto const* guard : m_running)
        if (!guard->m_reported) m_nextLook = std::min(m_nextLook, guard->due());
    runtime = m_nextLook == Time::max() ? nullptr : m_runtime.lock();
    if (runtime) lookAt(*runtime, m_nextLook);
}

/// Under m_mutex, so that the plans reach the io thread in their order.
void Overrun_watch::lookAt(Process_runtime& runtime, Time time) {
    m_nextLook = time;
    auto const left = time - std::chrono::steady_clock::now();
    runtime.wake(std::chrono::ceil<std::chrono::milliseconds>(left), [this] { look(); });
}

}  // namespace eb::com::runtime
