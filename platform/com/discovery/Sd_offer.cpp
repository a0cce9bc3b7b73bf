#include "platform/com/discovery/Sd_offer.h"

namespace eb::com::runtime {

void Sd_offer::offer(Time now, Time delay) {
    if (m_phase != Phase::down) return;
    m_phase = Phase::initialWait;
    m_repetition = 0;
    m_due = now + delay;
}

bool Sd_offer::withdraw() {
    bool const known = isAnnounced();
    m_phase = Phase::down;
    return known;
}

bool Sd_offer::tick(Time now) {
    if (m_phase == Phase::down || now < m_due) return false;
    if (m_phase != Phase::main && m_repetition < m_settings->repetitions) {
        m_phase = Phase::repetition;
        m_due = now + m_settings->repetitionBase * (1U << m_repetition);
        ++m_repetition;
    } else {
        m_phase = Phase::main;
        m_due = now + m_settings->cyclic;
    }
    return true;
}

}  // namespace eb::com::runtime
