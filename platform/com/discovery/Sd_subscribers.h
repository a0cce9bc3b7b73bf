#pragma once

#include <chrono>
#include <compare>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// The publisher's side of subscriptions: who hears which eventgroup of this process, and how long.
///
///     unknown --subscribe--> subscribed --subscribe--> subscribed (its time begins anew)
///        ^                       |
///        '-- stop subscribe, ran out, subscriber rebooted, its connection gone, offer withdrawn
///
/// How many there may be is the business of who accepts them. One thread.
class Sd_subscribers {
public:
    using Time = std::chrono::milliseconds;

    struct Subscriber {
        Service_deployment const* service = nullptr;
        std::uint16_t eventgroup = 0;
        Endpoint endpoint;  ///< where its events go
        auto operator<=>(Subscriber const&) const = default;
    };

    /// Whether it is a new one. A subscriber belongs to the peer that spoke for it last.
    bool add(Subscriber const& subscriber, Address const& peer, Time now, std::chrono::seconds ttl);
    /// Whether there was one.
    bool remove(Subscriber const& subscriber) { return m_known.erase(subscriber) != 0; }

    // Each takes out what it gives.
    std::vector<Subscriber> removeExpired(Time now);
    std::vector<Subscriber> removeOf(Address const& peer);
    std::vector<Subscriber> removeOf(Service_deployment const& service);

    std::set<Address> peers() const;
    std::optional<Time> due() const;

private:
    struct State {
        Address peer;
        std::optional<Time> expires;  // none: never
    };
    template <class Condition>
    std::vector<Subscriber> removeIf(Condition condition);

    std::map<Subscriber, State> m_known;
};

}  // namespace eb::com::runtime
