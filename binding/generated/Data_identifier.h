// What the interfaces of all data identifiers have in common.
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

/// Base of an interface's description: the number of its data identifier, its version, and its methods. The
/// methods' numbers on the wire count from 0 in this order.
template <std::uint16_t Number, class Cancel, class Read>
struct Data_identifier {
    static constexpr std::uint16_t DATA_IDENTIFIER = Number;
    static constexpr std::uint32_t DESCRIPTION = 0x20000;  ///< version 2.0
    using CancelMethod = Cancel;
    using ReadMethod = Read;
};

/// Reads the data identifier of `Interface`.
template <class Interface, class Record>
struct Read_method : Failing_method<Uds_service_failed<Interface>> {
    using Output = Record;
    using Signature = Output(Meta const&);
};

/// The skeleton of a data identifier's interface. Whoever implements it derives from it and calls
/// StopOfferService before it goes.
template <class Interface>
class Data_identifier_skeleton : public ara::com::internal::skeleton::Skeleton<Interface> {
public:
    using CancelMethod = typename Interface::CancelMethod;
    using ReadMethod = typename Interface::ReadMethod;

    Data_identifier_skeleton(std::string instanceId, unsigned char processingMode)
        : ara::com::internal::skeleton::Skeleton<Interface>(std::move(instanceId), processingMode),
          m_cancel(
              0, [this](Meta const& meta) { return Cancel(meta); }, this->binding().dispatcher()),
          m_read(
              1, [this](Meta const& meta) { return Read(meta); }, this->binding().dispatcher()) {}

    virtual eb::com::Future<void> Cancel(Meta const& meta) = 0;
    virtual eb::com::Future<typename ReadMethod::Output> Read(Meta const& meta) = 0;

private:
    ara::com::internal::skeleton::Method<CancelMethod> m_cancel;
    ara::com::internal::skeleton::Method<ReadMethod> m_read;
};

}  // namespace zvg::services::diag
