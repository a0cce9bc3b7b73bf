#include "platform/com/discovery/Sd_peers.h"

#include <algorithm>

namespace eb::com::runtime {

Sd_peers::Heard Sd_peers::Sessions::hear(Sd_message const& message, std::size_t hash) {
    Message& place = recent[message.session % WINDOW];
    if (last != 0 && message.reboot && !reboot) return Heard::rebooted;
    if (last != 0 && message.reboot && message.session <= last) {
        if (last - message.session >= WINDOW) return Heard::rebooted;
        if (place.session != message.session) return Heard::outdated;
        return place.hash == hash ? Heard::known : Heard::rebooted;
    }
    reboot = message.reboot;
    last = message.session;
    place = {message.session, hash};
    return Heard::known;
}

Sd_peers::Heard Sd_peers::hear(Address const& peer, bool multicast, Sd_message const& message,
                               std::size_t hash, Time now) {
    auto known = m_peers.find(peer);
    bool const first = known == m_peers.end();
    if (first) {
        if (!makeRoom(now)) return Heard::tooMany;
        known = m_peers.emplace(peer, Peer{}).first;
    }
    Peer& state = known->second;
    auto& sessions = multicast ? state.multicast : state.unicast;
    auto heard = sessions.hear(message, hash);
    if (heard == Heard::outdated) return heard;
    state.heard = now;
    if (heard == Heard::rebooted) {
        // What came before this message since the reboot was taken for copies, and goes on to be known. The
        // other session ids begin anew as well, which is no second reboot.
        auto recent = sessions.recent;
        for (auto& place : recent)
            if (place.session >= message.session) place = {};
        state.unicast = {};
        state.multicast = {};
        sessions.recent = recent;
        sessions.hear(message, hash);
        ++state.reboots;
    }
    return first ? Heard::first : heard;
}

bool Sd_peers::makeRoom(Time now) {
    if (m_peers.size() < PEERS) return true;
    auto const oldest = std::min_element(m_peers.begin(), m_peers.end(), [](auto const& a, auto const& b) {
        return a.second.heard < b.second.heard;
    });
    if (now - oldest->second.heard <= MEMORY) return false;
    if (!m_kept.contains(oldest->first)) m_sent.erase(oldest->first);
    m_peers.erase(oldest);
    return true;
}

Sd_peers::Stamp Sd_peers::next(Address const& target) {
    std::uint32_t& sent = m_sent[target];
    constexpr std::uint32_t SESSIONS = 0xFFFF;
    Stamp const stamp{static_cast<std::uint16_t>(sent % SESSIONS + 1), sent < SESSIONS};
    // Once the flag is gone, it stays so: the count goes round without coming back to its beginning.
    sent = sent + 1 == 2 * SESSIONS ? SESSIONS : sent + 1;
    return stamp;
}

std::vector<Address> Sd_peers::heard(Time now) const {
    std::vector<Address> addresses;
    for (auto const& [address, peer] : m_peers)
        if (now - peer.heard <= MEMORY) addresses.push_back(address);
    return addresses;
}

std::vector<Sd_peers::Known> Sd_peers::known() const {
    std::vector<Known> known;
    for (auto const& [address, peer] : m_peers) known.push_back({address, peer.heard, peer.reboots});
    return known;
}

}  // namespace eb::com::runtime
