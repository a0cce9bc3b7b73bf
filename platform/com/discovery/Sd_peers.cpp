#include "platform/com/discovery/Sd_peers.h"

#include <algorithm>

namespace eb::com::runtime {

Sd_peers::Heard Sd_peers::Sessions::hear(Sd_message const& message, std::size_t messageHash, Time now) {
    bool const first = last == 0;
    if (!first && message.session == last && messageHash == hash && now - at <= REORDERING)
        return Heard::copy;
    bool const beginsAnew = !first && message.reboot && (!reboot || message.session <= last);
    reboot = message.reboot;
    last = message.session;
    hash = messageHash;
    at = now;
    if (!elsewhere) return beginsAnew ? Heard::rebooted : Heard::known;
    // What goes on as before may still be from before the reboot, which the other socket read first.
    if (beginsAnew || now - *elsewhere > REORDERING) elsewhere.reset();
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
    auto const heard = (multicast ? state.multicast : state.unicast).hear(message, hash, now);
    if (heard == Heard::copy) return heard;
    state.heard = now;
    state.turn = ++m_turns;
    if (heard == Heard::rebooted) {
        auto& other = multicast ? state.unicast : state.multicast;
        if (other.last != 0) other.elsewhere = now;
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
