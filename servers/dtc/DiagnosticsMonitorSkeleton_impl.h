#pragma once

#include <atomic>
#include <string>

#include "binding/generated/DiagnosticMonitor.h"

namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods {

/// The monitor of one trouble code: passes its state on to the event manager, and repeats it when asked.
///
/// Owned by the server, which calls StopOfferService before it ends it: no InitMonitor runs after that.
///
/// For a thread X in setDtcState and a thread Y in InitMonitor: when Y sees that there is a state, it sees
/// X's or a later one. Storing and sending are two steps, so a state that is replaced at that moment may be
/// the last that is sent; the next report corrects it.
class DiagnosticsMonitorSkeleton_impl : public ac::dm::dem::skeleton::DiagnosticMonitorSkeleton {
public:
    using State = ac::dm::types::MonitorActionType;

    /// Throws what the platform throws if it doesn't know the instance.
    explicit DiagnosticsMonitorSkeleton_impl(std::string const& instance);

    /// Keeps the state and sends it. On the thread that delivers Java's messages.
    void setDtcState(State const& state);

    /// Sends the state again if there is one. Several at a time, on pool threads. Always fulfilled at once.
    eb::com::Future<void> InitMonitor(ac::dm::types::InitMonitorReasonType reason) override;

private:
    static constexpr unsigned char PARALLEL = 1;  // calls run side by side on the shared pool
    static_assert(sizeof(std::atomic<State>) == 1 && std::atomic<State>::is_always_lock_free);
    static_assert(sizeof(std::atomic<bool>) == 1 && std::atomic<bool>::is_always_lock_free);

    std::string const m_instanceText;
    std::atomic<State> m_lastState{State{}};
    std::atomic<bool> m_hasState{false};  // set after the state, with release
};

}  // namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods
