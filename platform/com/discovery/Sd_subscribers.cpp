#include "platform/com/discovery/Sd_subscribers.h"

namespace eb::com::runtime {

bool Sd_subscribers::add(Subscriber const& subscriber, Address const& peer, Time now,
                         std::chrono::seconds ttl) {
    auto const expires = ttl == Discovery::FOR_EVER ? std::nullopt : std::optional(now + ttl);
    return m_known.insert_or_assign(subscriber, State{peer, expires}).second;
}

template <class Condition>
std::vector<Sd_subscribers::Subscriber> Sd_subscribers::removeIf(Condition condition) {
    std::vector<Subscriber> removed;
    std::erase_if(m_known, [&](auto const& entry) {
        if (!condition(entry.first, entry.second)) return false;
        removed.push_back(entry.first);
        return true;
    });
    return removed;
}

std::vector<Sd_subscribers::Subscriber> Sd_subscribers::removeExpired(Time now) {
    return removeIf([&](auto const&, State const& state) { return state.expires && *state.expires <= now; });
}

std::vector<Sd_subscribers::Subscriber> Sd_subscribers::removeOf(Address const& peer) {
    return removeIf([&](auto const&, State const& state) { return state.peer == peer; });
}

std::vector<Sd_subscribers::Subscriber> Sd_subscribers::removeOf(Service_deployment const& service) {
    return removeIf(
        [&](Subscriber const& subscriber, auto const&) { return subscriber.service == &service; });
}

std::set<Address> Sd_subscribers::peers() const {
    std::set<Address> peers;
    for (auto const& [subscriber, state] : m_known) peers.insert(state.peer);
    return peers;
}

std::optional<Sd_subscribers::Time> Sd_subscribers::due() const {
    std::optional<Time> first;
    for (auto const& [subscriber, state] : m_known)
        if (state.expires && (!first || *state.expires < *first)) first = state.expires;
    return first;
}

}  // namespace eb::com::runtime
