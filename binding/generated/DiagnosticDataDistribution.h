// The service that holds the vehicle's diagnostic data, as its clients see it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "binding/generated/Output_records.h"
#include "binding/generated/Uds_service_failed.h"
#include "binding/payload/Types.h"
#include "binding/proxy/Proxy.h"

namespace zvg::services::diagnosticdatadistribution {
namespace datatypes {

/// A hash over the data of one name space and category; each member may be missing.
struct DT_dataValuesHash_struct {
    eb::com::optional<std::uint32_t> name_space;
    eb::com::optional<std::uint32_t> category;
    eb::com::optional<std::uint64_t> hashValue;
    BINDING_FIELDS(name_space, category, hashValue)
    bool operator==(DT_dataValuesHash_struct const&) const = default;

    static constexpr std::array<ac::com::someip::serialization::Structure_tag, 3> TAGS{
        {{ac::com::someip::serialization::Wire_type(2), 0},
         {ac::com::someip::serialization::Wire_type(2), 1},
         {ac::com::someip::serialization::Wire_type(3), 2}}};
    static constexpr ac::com::someip::serialization::Tag_list get_tlv_tags() noexcept { return TAGS; }
};

using DT_dataValuesHash_vector = std::vector<DT_dataValuesHash_struct>;

using DT_ListOfIds = std::vector<std::uint32_t>;

enum class DT_ResultCodeType : std::uint32_t { success = 0 };

/// What is known of the records that were asked for.
struct DT_DiagnosticValuesResultType {
    std::vector<std::uint8_t> diagnosticData;
    DT_ResultCodeType resultCode = DT_ResultCodeType::success;
    BINDING_FIELDS(diagnosticData, resultCode)
    bool operator==(DT_DiagnosticValuesResultType const&) const = default;
};

}  // namespace datatypes

/// The interface: its names, its version, and its operations, whose numbers on the wire count from 0 in the
/// order in which they stand here.
struct DiagnosticDataDistribution {
    static constexpr std::string_view NAME =
        "zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution";
    static constexpr std::string_view SHORT_NAME = "DiagnosticDataDistribution";
    static constexpr std::uint32_t DESCRIPTION = 0x30001;  ///< version 3.1

    /// Field: a hash for each name space, which changes with any value in it.
    struct dataValuesHash {
        using Value = datatypes::DT_dataValuesHash_vector;

        /// Structures stand behind a length field, so that their optional members have an end.
        static constexpr ac::com::someip::serialization::Serialization_properties FRAMED_STRUCTURES{
            .structure_length_field_size = 4};

        struct Get : diag::Unfailing_method {
            static constexpr unsigned short ID = 0;
            static constexpr auto PROPERTIES = FRAMED_STRUCTURES;
            using Output = Value;
            using Signature = Output();
        };
        struct Notify {
            static constexpr unsigned short ID = 0;
            static constexpr auto PROPERTIES = FRAMED_STRUCTURES;
            using Value = dataValuesHash::Value;
        };
    };

    /// Name space and record to the record's value. No client of ours calls it; its result is taken to be
    /// that of its sister.
    struct getDiagnosticData : diag::Unfailing_method {
        static constexpr unsigned short ID = 1;
        using Output = datatypes::DT_DiagnosticValuesResultType;
        using Signature = Output(std::uint32_t, std::uint32_t);
    };

    /// Name space (0 for adaptations) and records to their values.
    struct getDiagnosticDataValues : diag::Unfailing_method {
        static constexpr unsigned short ID = 2;
        using Output = datatypes::DT_DiagnosticValuesResultType;
        using Signature = Output(std::uint32_t, datatypes::DT_ListOfIds const&);
    };
};

namespace proxy {

class DiagnosticDataDistributionProxy : public ara::com::internal::proxy::Proxy<DiagnosticDataDistribution> {
public:
    explicit DiagnosticDataDistributionProxy(Handle_type const& handle) : Proxy(handle) {}
    /// Over a port that is there already.
    DiagnosticDataDistributionProxy(Handle_type const& handle,
                                    std::shared_ptr<eb::com::runtime::Client_port> port)
        : Proxy(handle, std::move(port)) {}

    ara::com::internal::proxy::Field<DiagnosticDataDistribution::dataValuesHash> dataValuesHash{
        binding(), DiagnosticDataDistribution::dataValuesHash::Notify::ID,
        DiagnosticDataDistribution::dataValuesHash::Get::ID};
    ara::com::internal::proxy::Method<DiagnosticDataDistribution::getDiagnosticData> getDiagnosticData{
        binding(), DiagnosticDataDistribution::getDiagnosticData::ID};
    ara::com::internal::proxy::Method<DiagnosticDataDistribution::getDiagnosticDataValues>
        getDiagnosticDataValues{binding(), DiagnosticDataDistribution::getDiagnosticDataValues::ID};
};

}  // namespace proxy
}  // namespace zvg::services::diagnosticdatadistribution
