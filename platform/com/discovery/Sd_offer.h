#pragma once

#include <chrono>
#include <optional>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// When an instance that this process offers is announced to everybody.
///
///     down --offer--> initial wait --delay--> repetition --all repetitions--> main --cyclic--> main
///      ^                   |      announced       |     announced each time          announced
///      '-----withdraw------'-------withdraw-------'-------------------- withdraw ------'
///                               (stop offer told)
///
/// The pauses of the repetitions double; cyclic announcements come a period after the last repetition and
/// after each other. Instances that become due together stay together, so that their offers share a message.
/// Times are the clock's. One thread.
class Sd_offer {
public:
    using Time = std::chrono::milliseconds;

    explicit Sd_offer(Discovery const& settings) : m_settings(&settings) {}

    void offer(Time now, Time delay);
    /// Whether somebody may have heard of the offer, and has to be told that it ended.
    bool withdraw();

    /// Whether it has to be announced to everybody now.
    bool tick(Time now);
    /// When `tick` has something to do.
    std::optional<Time> due() const { return m_phase == Phase::down ? std::nullopt : std::optional(m_due); }

    /// Whether somebody who asks is told.
    bool isAnnounced() const noexcept { return m_phase == Phase::repetition || m_phase == Phase::main; }
    bool isInitiallyWaiting() const noexcept { return m_phase == Phase::initialWait; }

private:
    enum class Phase : std::uint8_t { down, initialWait, repetition, main };

    Discovery const* m_settings;
    Phase m_phase = Phase::down;
    unsigned m_repetition = 0;
    Time m_due{0};
};

}  // namespace eb::com::runtime
