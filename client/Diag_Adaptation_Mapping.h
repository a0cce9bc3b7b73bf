#pragma once

#include <array>
#include <utility>
#include <vector>

#include "codec/diagmgr.h"

namespace zvg::val::diag_ara::services {

/// Which record of the remote service holds which adaptation. Any thread, also while the process ends: the
/// table is a constant, and nothing of it is destroyed.
class Diag_Adaptation_Mapping {
public:
    /// Stands for "no record" and for "no adaptation".
    static constexpr unsigned int MAPPING_NOT_EXIST = 0;

    /// The record of an adaptation, or MAPPING_NOT_EXIST.
    static unsigned int getRecordId(tDiagMgrAdaptationID adaptationId);

    /// The adaptation that a record holds, or MAPPING_NOT_EXIST.
    static tDiagMgrAdaptationID getAdaptationId(unsigned int recordId);

    /// All adaptations that have a record, in ascending order.
    static std::vector<tDiagMgrAdaptationID> getAllAdaptationIds();

private:
    static constexpr std::array<std::pair<tDiagMgrAdaptationID, unsigned int>, 4> m_adapRecordId{{
        {tDiagMgrAdaptationID{149}, 2640},
        {tDiagMgrAdaptationID{255}, 3167},
        {tDiagMgrAdaptationID{312}, 421},
        {tDiagMgrAdaptationID{316}, 1484},
    }};  // in ascending order of the adaptation
};

}  // namespace zvg::val::diag_ara::services
