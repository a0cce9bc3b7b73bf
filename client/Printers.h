// The log text of what comes from the data distribution service.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "binding/generated/DiagnosticDataDistribution.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution {

/// "DT_dataValuesHash_vector=[{name_space=0,hashValue=17},{...}]". A list of more than 20 elements is
/// shortened to the first and the last ten, with "..." between them. The flag belongs to the shape of such
/// functions and changes nothing.
std::string printer_DT_dataValuesHash_vector(
    std::vector<zvg::services::diagnosticdatadistribution::datatypes::DT_dataValuesHash_struct> const& values,
    bool);

/// "DT_DiagnosticValuesResultType_diagnosticData_ARRAY=[1,2,255]", shortened in the same way.
std::string printer_DT_DiagnosticValuesResultType_diagnosticData_ARRAY(std::vector<std::uint8_t> const& bytes,
                                                                       bool);

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution
