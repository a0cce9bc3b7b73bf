#include <ac/com/Task_dispatcher.h>

namespace ac::com {

Task_dispatcher::~Task_dispatcher() = default;

void Task_dispatcher::internal_wait() {
    bool const insideOwnTask = running_in_this_thread();
    std::unique_lock lock(m_mutex);
    if (m_state == 0) {
        m_state = m_pending != 0 ? 1 : 2;
    }
    if (insideOwnTask) {
        return;
    }
    m_idle.wait(lock, [this] { return m_state == 2 && m_pending == 0; });
}

}  // namespace ac::com
