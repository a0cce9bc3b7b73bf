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
        makeRoom();
        known = m_peers.emplace(peer, Peer{}).first;
        known->second.sent = m_others;
    }
    Peer& state = known->second;
    auto& sessions = multicast ? state.multicast : state.unicast;
    auto heard = sessions.hear(message, hash);
    if (heard == Heard::outdated) return heard;
    state.heard = now;
    state.turn = ++m_turns;
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

void Sd_peers::makeRoom() {
    if (m_peers.size() < PEERS) return;
    auto const partners = m_partners();
    auto const isStranger = [&](auto const& peer) { return !partners.contains(peer.first); };
    bool const fewStrangers = std::count_if(m_peers.begin(), m_peers.end(), isStranger) < STRANGERS;
    auto victim = m_peers.end();
    for (auto peer = m_peers.begin(); peer != m_peers.end(); ++peer)
        if ((fewStrangers || isStranger(*peer)) &&
            (victim == m_peers.end() || peer->second.turn < victim->second.turn))
            victim = peer;
    m_others = std::max(m_others, victim->second.sent);
    m_peers.erase(victim);
}

Sd_peers::Stamp Sd_peers::next(Address const& target) {
    auto const kept = m_kept.find(target);
    auto const peer = m_peers.find(target);
    std::uint32_t& sent = kept != m_kept.end()    ? kept->second
                          : peer != m_peers.end() ? peer->second.sent
                                                  : m_others;
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
