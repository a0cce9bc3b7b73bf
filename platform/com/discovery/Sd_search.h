#pragma once

#include <chrono>
#include <optional>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// An instance as a peer offers it.
struct Sd_found {
    Address peer;       ///< the socket of its discovery
    Endpoint endpoint;  ///< of the service
    std::chrono::milliseconds heard{0};
    std::chrono::seconds ttl{0};

    bool isForEver() const noexcept { return ttl == Discovery::FOR_EVER; }
    std::chrono::milliseconds expires() const noexcept { return heard + ttl; }
};

/// What this process knows of one instance of the deployment in other processes. Offers are remembered
/// whether somebody wants the instance or not; only for a wanted one messages are sent.
///
///     idle --wanted--> initial wait --delay--> repetition --all repetitions--> listening
///      ^                    |      find sent       | find sent each time           |
///      |                    '----------offer-------+-------------------------------'
///      |                                           v
///      '--wanted no more (not from found)--      found --offer--> found
///                                                  |
///     stop offer: listening, idle if not wanted <--|--> ran out, peer rebooted: initial wait, or idle
///
/// A found instance that is wanted and wasn't offered again for three fifths of its time to live is asked for
/// at its peer. While an offer stands, another peer's offer of the same instance counts only if it has the
/// same endpoint: nobody else can have it, so the first peer is no more. One thread.
class Sd_search {
public:
    using Time = std::chrono::milliseconds;
    enum class Change : std::uint8_t { none, found, renewed, replaced, lost };
    enum class Action : std::uint8_t { none, findEverywhere, findAtPeer, ranOut };

    explicit Sd_search(Discovery const& settings) : m_settings(&settings) {}

    void want(Time now, Time delay);
    void unwant();

    /// none: the offer doesn't count. `replaced`: as if it was lost and found again.
    Change offered(Sd_found const& offer);
    /// lost or none.
    Change stopped(Address const& peer);
    /// lost or none.
    Change rebooted(Address const& peer, Time now, Time delay);

    /// To be called until it says none. ranOut: found no more. `delay` is that of a new search.
    Action tick(Time now, Time delay);
    std::optional<Time> due() const;

    std::optional<Sd_found> const& found() const noexcept { return m_found; }
    bool isInitiallyWaiting() const noexcept { return m_phase == Phase::initialWait; }

private:
    enum class Phase : std::uint8_t { idle, initialWait, repetition, listening, found };
    void search(Time now, Time delay);
    void lose();

    Discovery const* m_settings;
    Phase m_phase = Phase::idle;
    bool m_wanted = false;
    unsigned m_repetition = 0;
    Time m_due{0};  // of a find
    std::optional<Sd_found> m_found;
};

}  // namespace eb::com::runtime
