#include "client/Diag_Adaptation_Mapping.h"

namespace zvg::val::diag_ara::services {

unsigned int Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID adaptationId) {
    for (auto const& [adaptation, record] : m_adapRecordId) {
        if (adaptation == adaptationId) return record;
    }
    return MAPPING_NOT_EXIST;
}

tDiagMgrAdaptationID Diag_Adaptation_Mapping::getAdaptationId(unsigned int recordId) {
    for (auto const& [adaptation, record] : m_adapRecordId) {
        if (record == recordId) return adaptation;
    }
    return tDiagMgrAdaptationID{MAPPING_NOT_EXIST};
}

std::vector<tDiagMgrAdaptationID> Diag_Adaptation_Mapping::getAllAdaptationIds() {
    std::vector<tDiagMgrAdaptationID> ids;
    ids.reserve(m_adapRecordId.size());
    for (auto const& [adaptation, record] : m_adapRecordId) ids.push_back(adaptation);
    return ids;
}

}  // namespace zvg::val::diag_ara::services
