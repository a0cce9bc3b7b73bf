// The requests about datasets, coding and the control monitor path: answered here, whatever they ask for, and
// whether the remote service is there or not.

#include <algorithm>
#include <iterator>

#include "client/Listener.h"
#include "codec/coding.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

eValStatus Listener::handleGetDataSetVersionReq(tDiagmgrGetDatasetVersionReqds request) {
    tDiagmgrGetDatasetVersionRespds response{};
    response.datasetId = request.datasetId;
    response.transactionId = request.transactionId;
    response.versionFlagA = false;
    std::fill(std::begin(response.version), std::end(response.version), '-');
    response.versionFlagB = false;
    return send(__func__, response, PackedSizeOftDiagmgrGetDatasetVersionRespds,
                PackDiagmgrGetDatasetVersionResp);
}

eValStatus Listener::handleGetDatasetResp(tDiagmgrGetDatasetReqds request) {
    tDiagmgrGetDatasetRespds response{};
    response.datasetId = request.datasetId;
    response.transactionId = request.transactionId;
    response.segmentId = SEGMENTID_ZERO;
    response.datasetFlag = true;
    response.length = LENGTH_ZERO;
    return send(__func__, response, PackedSizeOftDiagmgrGetDatasetRespds, PackDiagmgrGetDatasetResp);
}

eValStatus Listener::handleGetJavaCodingReq() {
    tDiagmgrJavaGetCodingRespds response{};
    response.status = tCodingRespStatus{2};
    return send(__func__, response, PackedSizeOftDiagmgrJavaGetCodingRespds, PackDiagmgrJavaGetCodingResp);
}

eValStatus Listener::handleJavaControlMonitorPathReq(tDiagmgrJavaControlMonitorPathReqds request) {
    tDiagmgrJavaControlMonitorPathRespds response{};
    response.resultValue = JAVA_CONTROL_MONITOR_PATH_COMPONENTID;
    response.transactionId = request.transactionId;
    std::fill(std::begin(response.pathBytes), std::end(response.pathBytes), NVM_STATUS_OK);
    return send(__func__, response, PackedSizeOftDiagmgrJavaControlMonitorPathRespds,
                PackDiagmgrJavaControlMonitorPathResp);
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
