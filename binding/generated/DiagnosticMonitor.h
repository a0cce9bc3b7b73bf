#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <ac/dm/types/InitMonitorReasonType.h>
#include <ac/dm/types/MonitorActionType.h>

#include "binding/future/Future.h"
#include "binding/generated/Uds_service_failed.h"
#include "binding/skeleton/Event.h"
#include "binding/skeleton/Method.h"
#include "binding/skeleton/Skeleton.h"

namespace ac::dm::dem {

/// The monitor of one trouble code: reports its state to the diagnostic event manager.
struct DiagnosticMonitor {
    static constexpr std::string_view NAME = "ac::dm::dem::DiagnosticMonitor";
    static constexpr std::uint32_t DESCRIPTION = 0x20000;  ///< version 2.0

    /// The trouble codes that this system has an instance for, in ascending order.
    static constexpr std::array<unsigned long, 3> CODES{0x81A2E0, 0x81A2E1, 0x81A2E2};

    /// The name of a code's instance: its decimal digits between two invisible marks (U+202D, U+202C), which
    /// belong to the name.
    static std::string instance(unsigned long code) { return "\u202D" + std::to_string(code) + "\u202C"; }
};

/// Asks for the state again. Succeeds always, and gives nothing: the state comes as an event.
struct InitMonitor : zvg::services::diag::Unfailing_method {
    using Output = void;
    using Signature = void(types::InitMonitorReasonType);
};

/// The state of the trouble code.
struct MonitorAction {
    using Value = types::MonitorActionType;
};

namespace skeleton {

/// Whoever implements it derives from it and calls StopOfferService before it goes.
class DiagnosticMonitorSkeleton : public ara::com::internal::skeleton::Skeleton<DiagnosticMonitor> {
public:
    DiagnosticMonitorSkeleton(std::string instanceId, unsigned char processingMode)
        : Skeleton(std::move(instanceId), processingMode),
          MonitorAction(0, binding().port()),
          m_initMonitor(
              0, [this](types::InitMonitorReasonType reason) { return InitMonitor(reason); },
              binding().dispatcher()) {}

    virtual eb::com::Future<void> InitMonitor(types::InitMonitorReasonType reason) = 0;

    ara::com::internal::skeleton::Event<dem::MonitorAction> MonitorAction;

private:
    ara::com::internal::skeleton::Method<dem::InitMonitor> m_initMonitor;
};

}  // namespace skeleton
}  // namespace ac::dm::dem
