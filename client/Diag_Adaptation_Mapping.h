#pragma once

#include <map>
#include <vector>

#include "codec/diagmgr.h"

namespace zvg::val::diag_ara::services {

/// Which record of the remote service holds which adaptation. The table is built at library load and never
/// changed; any thread.
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
    static std::map<tDiagMgrAdaptationID, unsigned int> const m_adapRecordId;
};

}  // namespace zvg::val::diag_ara::services
