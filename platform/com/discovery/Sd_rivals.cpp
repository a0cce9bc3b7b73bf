#include "platform/com/discovery/Sd_rivals.h"

#include <algorithm>

namespace eb::com::runtime {

void Sd_rivals::offered(Sd_found const& offer, Time now) {
    forgetExpired(now);
    if (m_known.size() < MOST || m_known.contains(offer.peer)) m_known.insert_or_assign(offer.peer, offer);
}

std::map<Address, Sd_found> const& Sd_rivals::known(Time now) {
    forgetExpired(now);
    return m_known;
}

std::optional<Sd_found> Sd_rivals::take(std::optional<std::uint32_t> host, Time now) {
    forgetExpired(now);
    if (m_known.empty()) return {};
    auto chosen = std::find_if(m_known.begin(), m_known.end(),
                               [&](auto const& entry) { return entry.first.ip == host; });
    if (chosen == m_known.end()) chosen = m_known.begin();
    auto const offer = chosen->second;
    m_known.erase(chosen);
    return offer;
}

bool Sd_rivals::hasOffersOf(std::uint32_t host, Time now) {
    forgetExpired(now);
    return std::any_of(m_known.begin(), m_known.end(),
                       [&](auto const& entry) { return entry.first.ip == host; });
}

void Sd_rivals::forgetExpired(Time now) {
    std::erase_if(m_known, [now](auto const& entry) {
        return !entry.second.isForEver() && entry.second.expires() <= now;
    });
}

}  // namespace eb::com::runtime
