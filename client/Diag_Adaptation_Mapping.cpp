#include "client/Diag_Adaptation_Mapping.h"

namespace zvg::val::diag_ara::services {

std::map<tDiagMgrAdaptationID, unsigned int> const Diag_Adaptation_Mapping::m_adapRecordId{
    {tDiagMgrAdaptationID{149}, 2640},
    {tDiagMgrAdaptationID{255}, 3167},
    {tDiagMgrAdaptationID{312}, 421},
    {tDiagMgrAdaptationID{316}, 1484},
};

unsigned int Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID adaptationId) {
    auto const row = m_adapRecordId.find(adaptationId);
    return row == m_adapRecordId.end() ? MAPPING_NOT_EXIST : row->second;
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
