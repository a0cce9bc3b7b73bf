#include "platform/com/discovery/Sd_subscription.h"

#include <algorithm>

namespace eb::com::runtime {

bool Sd_subscription::found(Time now) {
    if (m_phase != Phase::idle) return false;
    m_phase = Phase::pending;
    m_pause = FIRST_PAUSE;
    pause(now);
    return true;
}

bool Sd_subscription::offered(Time now) {
    if (m_phase == Phase::idle) return found(now);
    return m_phase != Phase::refused;
}

/// Sets when to ask again, and lets the pause grow.
void Sd_subscription::pause(Time now) {
    m_due = now + m_pause;
    m_pause = std::min(m_pause * 2, LONGEST_PAUSE);
}

bool Sd_subscription::acknowledged(Time now, std::chrono::seconds ttl) {
    if (m_phase == Phase::idle) return false;
    bool const changed = m_phase != Phase::subscribed;
    m_phase = Phase::subscribed;
    m_pause = FIRST_PAUSE;
    m_ttl = ttl;
    m_expires = ttl == Discovery::FOR_EVER ? std::nullopt : std::optional(now + ttl);
    m_due = now + m_ttl * 3 / 5;
    return changed;
}

bool Sd_subscription::refused(Time now) {
    if (m_phase == Phase::idle) return false;
    bool const changed = m_phase != Phase::refused;
    m_phase = Phase::refused;
    pause(now);
    return changed;
}

Sd_subscription::Action Sd_subscription::tick(Time now) {
    if (!due() || now < *due()) return {};
    bool const ranOut = m_phase == Phase::subscribed && now >= *m_expires;
    if (ranOut) m_phase = Phase::pending;
    if (m_phase == Phase::pending)
        pause(now);
    else
        m_due = now + (m_phase == Phase::refused ? m_pause : m_ttl / 5);
    return {true, ranOut};
}

std::optional<Sd_subscription::Time> Sd_subscription::due() const {
    if (m_phase == Phase::idle || (m_phase == Phase::subscribed && !m_expires)) return {};
    return m_phase == Phase::subscribed ? std::min(m_due, *m_expires) : m_due;
}

Event_state Sd_subscription::state() const noexcept {
    switch (m_phase) {
        case Phase::pending:
            return Event_state::pending;
        case Phase::subscribed:
            return Event_state::subscribed;
        case Phase::idle:
        case Phase::refused:
            break;
    }
    return Event_state::not_subscribed;
}

}  // namespace eb::com::runtime
