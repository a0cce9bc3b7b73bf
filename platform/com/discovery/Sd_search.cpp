#include "platform/com/discovery/Sd_search.h"

#include <algorithm>
#include <utility>

namespace eb::com::runtime {

void Sd_search::want(Time now, Time delay) {
    if (std::exchange(m_wanted, true) || m_found) return;
    search(now, delay);
}

void Sd_search::unwant() {
    m_wanted = false;
    if (!m_found) m_phase = Phase::idle;
}

void Sd_search::search(Time now, Time delay) {
    m_phase = m_wanted ? Phase::initialWait : Phase::idle;
    m_repetition = 0;
    m_due = now + delay;
}

void Sd_search::lose() {
    m_found.reset();
    m_phase = m_wanted ? Phase::listening : Phase::idle;
}

Sd_search::Change Sd_search::offered(Sd_found const& offer) {
    auto change = Change::found;
    if (m_found && m_found->peer == offer.peer && m_found->endpoint == offer.endpoint)
        change = Change::renewed;
    else if (m_found && (m_found->peer == offer.peer || m_found->endpoint == offer.endpoint))
        change = Change::replaced;
    else if (m_found)
        return Change::none;
    m_found = offer;
    m_phase = Phase::found;
    m_due = offer.heard + Time(offer.ttl) * 3 / 5;
    return change;
}

Sd_search::Change Sd_search::stopped(Address const& peer) {
    if (!m_found || m_found->peer != peer) return Change::none;
    lose();
    return Change::lost;
}

Sd_search::Change Sd_search::rebooted(Address const& peer, Time now, Time delay) {
    if (stopped(peer) == Change::none) return Change::none;
    search(now, delay);
    return Change::lost;
}

Sd_search::Action Sd_search::tick(Time now, Time delay) {
    if (!due() || now < *due()) return Action::none;
    if (m_phase == Phase::found) {
        if (now >= m_found->expires()) {
            lose();
            search(now, delay);
            return Action::ranOut;
        }
        m_due = now + Time(m_found->ttl) / 5;
        return Action::findAtPeer;
    }
    if (m_repetition < m_settings->repetitions) {
        m_phase = Phase::repetition;
        m_due = now + m_settings->repetitionBase * (1U << m_repetition);
        ++m_repetition;
    } else {
        m_phase = Phase::listening;
    }
    return Action::findEverywhere;
}

std::optional<Sd_search::Time> Sd_search::due() const {
    switch (m_phase) {
        case Phase::initialWait:
        case Phase::repetition:
            return m_due;
        case Phase::found:
            if (m_found->isForEver()) return {};
            return m_wanted ? std::min(m_due, m_found->expires()) : m_found->expires();
        case Phase::idle:
        case Phase::listening:
            break;
    }
    return {};
}

}  // namespace eb::com::runtime
