#include "servers/dtc/DiagnosticsMonitorSkeleton_impl.h"

#include "binding/future/Promise.h"
#include "core/Trace.h"

namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods {

DiagnosticsMonitorSkeleton_impl::DiagnosticsMonitorSkeleton_impl(std::string const& instance)
    : DiagnosticMonitorSkeleton(instance, PARALLEL), m_instanceText(instance) {}

void DiagnosticsMonitorSkeleton_impl::setDtcState(State const& state) {
    m_lastState.store(state, std::memory_order_relaxed);
    m_hasState.store(true, std::memory_order_release);
    MonitorAction.Send(state);
}

eb::com::Future<void> DiagnosticsMonitorSkeleton_impl::InitMonitor(
    ac::dm::types::InitMonitorReasonType reason) {
    auto const reasonNumber = static_cast<unsigned>(reason);
    if (m_hasState.load(std::memory_order_acquire)) {
        State const state = m_lastState.load(std::memory_order_relaxed);
        Trace::out(level::INFO, TRACE_HERE,
                   "DTCServerSkeleton_impl::InitMonitor][info] Resending DTC state instance ",
                   m_instanceText.c_str(), " DTC State ", static_cast<unsigned>(state), " reason ",
                   reasonNumber);
        MonitorAction.Send(state);
    } else {
        Trace::out(
            level::DETAIL, TRACE_HERE,
            " DTCServerSkeleton_impl::InitMonitor][info] Not resending DTC state as it is not available "
            "instance ",
            m_instanceText.c_str(), " reason ", reasonNumber);
    }
    eb::com::Promise<void> done;
    done.set_value();
    return done.get_future();
}

}  // namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods
