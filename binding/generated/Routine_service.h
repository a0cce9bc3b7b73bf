// What the interfaces of all routines have in common.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "binding/future/Future.h"
#include "binding/generated/Diagnostic_service.h"
#include "binding/generated/Output_records.h"
#include "binding/generated/Signatures.h"
#include "binding/skeleton/Method.h"
#include "binding/skeleton/Skeleton.h"

namespace zvg::services::diag {

/// Base of an interface's description: the number of its routine, its version, and its methods. The methods'
/// numbers on the wire count from 0 in this order.
template <std::uint16_t Number, class Cancel, class RequestResults, class Start, class Stop>
struct Routine_service {
    static constexpr std::uint16_t ROUTINE_IDENTIFIER = Number;
    static constexpr std::uint32_t DESCRIPTION = 0x20000;  ///< version 2.0
    using CancelMethod = Cancel;
    using RequestResultsMethod = RequestResults;
    using StartMethod = Start;
    using StopMethod = Stop;
};

/// Starts or stops the routine of `Interface`.
template <class Interface>
struct Routine_method : Failing_method<Uds_service_failed<Interface>> {
    using Output = void;
    using Signature = void(Meta const&);
};

/// Asks what became of the routine of `Interface`.
template <class Interface>
struct Request_results_method : Failing_method<Uds_service_failed<Interface>> {
    using Output = Routine_outcome;
    using Signature = Output(Meta const&);
};

/// The skeleton of a routine's interface. Whoever implements it derives from it and calls StopOfferService
/// before it goes.
template <class Interface>
class Routine_skeleton : public ara::com::internal::skeleton::Skeleton<Interface> {
public:
    using CancelMethod = typename Interface::CancelMethod;
    using RequestResultsMethod = typename Interface::RequestResultsMethod;
    using StartMethod = typename Interface::StartMethod;
    using StopMethod = typename Interface::StopMethod;

    Routine_skeleton(std::string instanceId, unsigned char processingMode)
        : ara::com::internal::skeleton::Skeleton<Interface>(std::move(instanceId), processingMode),
          m_cancel(
              0, [this](Meta const& meta) { return Cancel(meta); }, this->binding().dispatcher()),
          m_requestResults(
              1, [this](Meta const& meta) { return RequestResults(meta); }, this->binding().dispatcher()),
          m_start(
              2, [this](Meta const& meta) { return Start(meta); }, this->binding().dispatcher()),
          m_stop(
              3, [this](Meta const& meta) { return Stop(meta); }, this->binding().dispatcher()) {}

    virtual eb::com::Future<void> Cancel(Meta const& meta) = 0;
    virtual eb::com::Future<typename RequestResultsMethod::Output> RequestResults(Meta const& meta) = 0;
    virtual eb::com::Future<void> Start(Meta const& meta) = 0;
    virtual eb::com::Future<void> Stop(Meta const& meta) = 0;

private:
    ara::com::internal::skeleton::Method<CancelMethod> m_cancel;
    ara::com::internal::skeleton::Method<RequestResultsMethod> m_requestResults;
    ara::com::internal::skeleton::Method<StartMethod> m_start;
    ara::com::internal::skeleton::Method<StopMethod> m_stop;
};

}  // namespace zvg::services::diag
