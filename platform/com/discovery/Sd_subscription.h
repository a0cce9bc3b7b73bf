#pragma once

#include <chrono>
#include <optional>

#include <eb/com/runtime/Client_port.h>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// The subscriber's side of one eventgroup of one instance: when the publisher is asked, and what it said.
///
///     idle --found--> pending --ack--> subscribed --offer, before its time runs out--> asks again
///      ^                 |  ^  ^           |
///      |            nack |  |  '--ran out--'    pending asks again with each offer and after some time,
///      |                 v  |                   refused after a while that doubles with each refusal
///      |              refused (asks again)
///      '-- lost, from anywhere: withdrawn, ran out, publisher rebooted
///
/// One thread.
class Sd_subscription {
public:
    using Time = std::chrono::milliseconds;
    static constexpr Time FIRST_PAUSE{100};
    static constexpr Time LONGEST_PAUSE{10'000};

    /// The instance is to be had. True: ask now.
    bool found(Time now);
    /// It was offered again. True: ask now.
    bool offered(Time now);
    void lost() { m_phase = Phase::idle; }
    /// Both tell whether the state has changed.
    bool acknowledged(Time now, std::chrono::seconds ttl);
    bool refused(Time now);

    struct Action {
        bool ask = false;
        bool changed = false;  ///< the state
    };
    Action tick(Time now);
    std::optional<Time> due() const;

    /// Whether the publisher may know of the subscription, and has to be told that it ends.
    bool isAsked() const noexcept { return m_phase == Phase::pending || m_phase == Phase::subscribed; }
    Event_state state() const noexcept;
    bool isRefused() const noexcept { return m_phase == Phase::refused; }

private:
    enum class Phase : std::uint8_t { idle, pending, subscribed, refused };
    void pause(Time now);

    Phase m_phase = Phase::idle;
    Time m_pause = FIRST_PAUSE;
    Time m_due{0};                  // of the next question
    std::optional<Time> m_expires;  // subscribed; none: never
    Time m_ttl{0};
};

}  // namespace eb::com::runtime
