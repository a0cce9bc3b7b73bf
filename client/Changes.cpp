// The notification that values have changed, and the scan that finds out which.

#include <exception>

#include "client/Diag_Adaptation_Mapping.h"
#include "client/Listener.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

eValStatus Listener::cbDataValuesHash(std::vector<Hash> const& values) {
    if (values.empty()) {
        out(level::INFO, TRACE_HERE, "Received AUTOSAR message contains empty notification!");
        return eValNotReady;
    }
    eValStatus status = eValOk;
    for (Hash const& value : values) status = handleDataValuesHash(value);
    return status;
}

eValStatus Listener::handleDataValuesHash(Hash const& value) {
    if (!value.name_space.has_value()) {
        out(level::INFO, TRACE_HERE, "name_space element has no value.");
        return eValNotReady;
    }
    if (*value.name_space != ADAPTATIONS) {
        out(level::INFO, TRACE_HERE, "name_space is not an adaptation.");
        return eValRefused;
    }
    startWorker([this] { sendChangedAdaptToJava(); });
    return eValOk;
}

void Listener::sendChangedAdaptToJava() {
    out(level::INFO, TRACE_HERE, "");
    std::vector<tDiagMgrAdaptationID> changed;
    for (tDiagMgrAdaptationID const adaptationId : Diag_Adaptation_Mapping::getAllAdaptationIds()) {
        try {
            if (hasChanged(adaptationId)) changed.push_back(adaptationId);
        } catch (std::exception const& error) {  // the others have their hash already: Java must hear of them
            out(level::ERROR, TRACE_HERE, error.what());
        }
    }
    for (tDiagMgrAdaptationID const adaptationId : changed) {
        tDiagmgrAdaptationIndds indication{};
        indication.adaptationId = adaptationId;
        indication.indicationValue = NVM_OK;
        if (send(__func__, indication, PackedSizeOftDiagmgrAdaptationIndds, PackDiagmgrAdaptationInd) ==
            eValOk) {
            out(level::INFO, TRACE_HERE,
                "Sent DIAGMGR_ADAPTATION_IND AdaptationID=", textOfIds(adaptationId).c_str());
        }
    }
    out(level::INFO, TRACE_HERE, "DONE");
}

bool Listener::hasChanged(tDiagMgrAdaptationID adaptationId) {
    tellIds(adaptationId);
    Values values;
    if (readRecord(adaptationId, values) != Reading::done) return false;
    bool const same = m_hashStore.hasAdaptionIdWithSameHash(adaptationId, values.diagnosticData);
    if (same) {
        out(level::INFO, TRACE_HERE, "Nothing changed for AdaptationID=", textOfIds(adaptationId).c_str());
    }
    m_hashStore.addOrUpdateAdaptionIdIfNeeded(adaptationId, values.diagnosticData);
    return !same;
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
