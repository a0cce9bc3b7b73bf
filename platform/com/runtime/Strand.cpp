#include <ac/com/Strand.h>

#include <utility>

#include "platform/com/runtime/Run_task.h"

namespace ac::com {
namespace {

/// Stands in the queue for the task that is running. If that task ends the strand, the queue goes, and this
/// with it: the word on the running thread's stack then says that nothing of the strand is left.
class Running_mark {
public:
    explicit Running_mark(bool& strandIsGone) noexcept : m_strandIsGone(&strandIsGone) {}
    Running_mark(Running_mark&& other) noexcept
        : m_strandIsGone(std::exchange(other.m_strandIsGone, nullptr)) {}
    Running_mark(Running_mark const&) noexcept {}  // std::function asks for it; a copy marks nothing
    Running_mark& operator=(Running_mark const&) = delete;
    ~Running_mark() {
        if (m_strandIsGone != nullptr) *m_strandIsGone = true;
    }

    void operator()() const noexcept {}

private:
    bool* m_strandIsGone = nullptr;
};

}  // namespace

void Strand::run() {
    bool isGone = false;
    std::function<void()> place = Running_mark(isGone);
    std::unique_lock lock(m_mutex);
    m_runningThread = std::this_thread::get_id();
    while (!m_tasks.empty()) {
        place.swap(m_tasks.front());
        lock.unlock();
        runtime::run_task(std::move(place));
        if (isGone) return;
        lock.lock();
        place = std::move(m_tasks.front());
        m_tasks.pop_front();
        count_down(1);
    }
    m_runningThread = {};
}

}  // namespace ac::com
