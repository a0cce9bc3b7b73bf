// The vehicle's services, as the gateway uses them.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <vector>

#include "tools/tester/Report.h"
#include "tools/tester/Services.h"
#include "tools/tester/TroubleCodeEar.h"
#include "tools/tester/doip/TroubleCodes.h"

namespace tester::doip {

/// Reaches each service through a port that is made once and looks for the service as long as it lives, so
/// that a vehicle may come and go. Asks a monitor for its last state whenever it is found. The services have
/// to outlive it; it has to be ended before whatever `tell` uses.
class Vehicle {
public:
    /// `tell` hears of the trouble codes, on the runtime's threads. A request for stop ends calls under way.
    Vehicle(Services& services, Patience reading, milliseconds pause, std::stop_token stop,
            std::function<void(Sighting const&)> tell);
    Vehicle(Vehicle const&) = delete;
    Vehicle& operator=(Vehicle const&) = delete;

    /// Reads a data identifier and waits for the answer. Java's answer to one is shown to all of their
    /// services, so they are read one after another and with a pause: one thread at a time. One attempt,
    /// which takes no longer than this identifier's answers make likely. After it was in vain, and attempts
    /// are left, the identifier counts as silent.
    Report read(Target const& identifier);

    /// Asks an identifier that counts as silent again and again, each time for twice as long, until the time
    /// of the remaining attempts is over. It counts no more so once it has answered. Beside `read`, one
    /// thread at a time.
    Report readSilent(Target const& identifier);

    /// Whether the identifier gave no answer the last time. Any thread.
    bool isSilent(Target const& identifier) const;

    /// Calls a routine's method and waits for its answer. Any thread.
    Report control(Target const& routine, unsigned short method);

    /// Whether the routine was started by this gateway. Any thread.
    bool wasStarted(Target const& routine) const;

    TroubleCodes& troubleCodes() noexcept { return m_codes; }
    /// Whether the monitors of all trouble codes are there. Any thread.
    bool isReady() const noexcept;

    /// Services that the deployment doesn't know: a line for each.
    std::vector<std::string> const& problems() const noexcept { return m_problems; }

private:
    void hear(Sighting const& sighting);
    Report call(Target const& target, unsigned short method, Reply reply, Patience const& patience);
    Report attempt(Target const& identifier, milliseconds limit);
    /// How long an answer that isn't lost takes at most, by those that came.
    milliseconds likelyWait(Target const& identifier) const;

    Patience const m_reading;
    milliseconds const m_pause;
    std::stop_token const m_stop;
    std::function<void(Sighting const&)> const m_tell;
    std::map<Target const*, Reached> m_ports;  // never changed once made
    std::vector<std::string> m_problems;
    std::map<Target const*, std::atomic<bool>> m_started;    // its keys are never changed once made
    std::map<Target const*, std::atomic<bool>> m_available;  // likewise, of trouble codes
    std::map<Target const*, std::atomic<bool>> m_silent;     // likewise, of data identifiers
    std::map<Target const*, std::atomic<milliseconds::rep>>
        m_usual;                                       // likewise; how long answers took lately
    std::chrono::steady_clock::time_point m_lastRead;  // of the thread that reads
    TroubleCodes m_codes;
    std::vector<std::shared_ptr<TroubleCodeEar>> m_ears;
    std::vector<std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle>>
        m_subscriptions;  // end first
};

}  // namespace tester::doip
