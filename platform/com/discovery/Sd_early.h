#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "platform/com/discovery/Sd_message.h"
#include "platform/com/discovery/Sd_subscribers.h"

namespace eb::com::runtime {

/// What a peer asks for, and how: the entry is what is answered.
struct Sd_request {
    Sd_subscribers::Subscriber subscriber;
    Address peer;
    Sd_entry entry;
};

/// Subscriptions over a connection that this process hasn't accepted yet. Their subscriber has opened it
/// before it asked, but nothing says that its datagram may not be read first.
///
///     unknown --subscribe--> waiting --connection accepted, or PATIENCE is over--> taken out, and answered
///        ^                      |
///        '-- stop subscribe, subscriber rebooted, offer withdrawn
///
/// Bounded: while WAITING of them wait, others don't. One thread.
class Sd_early {
public:
    using Time = std::chrono::milliseconds;
    using Subscriber = Sd_subscribers::Subscriber;
    static constexpr std::size_t WAITING = 64;
    static constexpr Time PATIENCE{1000};

    /// False if it may not wait. One that waits already keeps its time; what was asked last is answered.
    bool add(Sd_request const& request, Time now);
    void remove(Subscriber const& subscriber) { m_waiting.erase(subscriber); }
    void removeOf(Address const& peer);
    void removeOf(Service_deployment const& service);

    // Each takes out what it gives.
    std::vector<Sd_request> takeConnected(Endpoint const& at, Address const& subscriber);
    std::vector<Sd_request> takeExpired(Time now);

    std::optional<Time> due() const;

private:
    struct Waiting {
        Sd_request request;
        Time expires;
    };
    std::vector<Sd_request> takeIf(std::function<bool(Waiting const&)> const& condition);

    std::map<Subscriber, Waiting> m_waiting;
};

}  // namespace eb::com::runtime
