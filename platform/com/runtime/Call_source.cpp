#include "platform/com/runtime/Call_source.h"

namespace eb::com::runtime {

void Call_source::taken(std::size_t bytes) noexcept {
    ++m_waiting;
    if (!m_backlog) return;
    ++m_backlog->m_calls;
    m_backlog->m_bytes += bytes;
}

void Call_source::left(std::size_t bytes) {
    if (m_backlog) {
        --m_backlog->m_calls;
        m_backlog->m_bytes -= bytes;
    }
    --m_waiting;
    if (m_awaitsRoom && m_awaitsRoom.exchange(false)) m_room();
}

}  // namespace eb::com::runtime
