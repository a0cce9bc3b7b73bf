// Messages from Java, one function each: unpack, then answer in place or in a thread.

#include "client/Listener.h"
#include "client/RequestText.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

// The sizes that are declared signed count as unsigned all the same: a negative one would become a bound
// beyond any buffer.

eValStatus Listener::unpackGetAdaptationReq(unsigned short size, unsigned char* data) {
    tDiagmgrGetAdaptationReqds request{};
    if (!unpack(__func__, UnpackDiagmgrGetAdaptationReq, 546, size, data, request)) return eValBadMessage;
    out(level::INFO, TRACE_HERE, "AdaptationId=", convert_intToHexStr(request.adaptationId).c_str());
    startWorker([this, request] { handleGetAdaptationReq(request); });
    return eValOk;
}

eValStatus Listener::unpackGetAdaptationsetReq(unsigned short size, unsigned char* data) {
    tDiagmgrGetAdaptationsetReqds request{};
    if (!unpack(__func__, UnpackDiagmgrGetAdaptationsetReq, 549, size, data, request)) return eValBadMessage;
    out(level::DETAIL, TRACE_HERE, print_adaptationsetReqIds(request).c_str());
    if (!proxy()) {
        out(level::INFO, TRACE_HERE, "Service not available!");
        return eValServiceNotAvailable;
    }
    startWorker([this, request] { handleGetDiagnosticDataValues(request, true); });
    return eValOk;
}

eValStatus Listener::unpackGetDataSetVersionReq(unsigned short size, unsigned char* data) {
    tDiagmgrGetDatasetVersionReqds request{};
    if (!unpack(__func__, UnpackDiagmgrGetDatasetVersionReq, 586, size, data, request)) return eValBadMessage;
    out(level::DETAIL, TRACE_HERE, print_getDataSetVersionReq(request).c_str());
    startWorker([this, request] { handleGetDataSetVersionReq(request); });
    return eValOk;
}

eValStatus Listener::unpackGetDataSetReq(short size, unsigned char* data) {
    tDiagmgrGetDatasetReqds request{};
    if (!unpack(__func__, UnpackDiagmgrGetDatasetReq, 588, static_cast<unsigned short>(size), data, request))
        return eValBadMessage;
    out(level::DETAIL, TRACE_HERE, print_getDataSetReq(request).c_str());
    startWorker([this, request] { handleGetDatasetResp(request); });
    return eValOk;
}

eValStatus Listener::unpackGetJavaCodingReq(unsigned short, unsigned char*) {
    startWorker([this] { handleGetJavaCodingReq(); });
    return eValOk;
}

eValStatus Listener::unpackJavaControlMonitorPathReq(short size, unsigned char* data) {
    tDiagmgrJavaControlMonitorPathReqds request{};
    if (!unpack(__func__, UnpackDiagmgrJavaControlMonitorPathReq, 647, static_cast<unsigned short>(size),
                data, request))
        return eValBadMessage;
    out(level::DETAIL, TRACE_HERE, print_javaControlMonitorPathReq(request).c_str());
    startWorker([this, request] { handleJavaControlMonitorPathReq(request); });
    return eValOk;
}

// The next two turn each into the other's question: a Java side that goes on answering goes on for ever.

eValStatus Listener::unpackAdaptationInd(short size, unsigned char* data) {
    tDiagmgrAdaptationIndds indication{};
    if (!unpack("UnpackDiagmgrAdaptationInd", UnpackDiagmgrAdaptationInd, 548,
                static_cast<unsigned short>(size), data, indication))
        return eValBadMessage;
    tDiagmgrGetAdaptationReqds question{};
    question.adaptationId = indication.adaptationId;
    eValStatus const status =
        send(__func__, question, PackedSizeOftDiagmgrGetAdaptationReqds, PackDiagmgrGetAdaptationReq);
    if (status == eValOk) out(level::INFO, TRACE_HERE, ">>> DIAGMGR_GET_ADAPTATION_REQ");
    return status;
}

eValStatus Listener::unpackGetAdaptationResp(short size, unsigned char* data) {
    tDiagmgrGetAdaptationRespds response{};
    if (!unpack("UnpackDiagmgrGetAdaptationResp", UnpackDiagmgrGetAdaptationResp, 547,
                static_cast<unsigned short>(size), data, response))
        return eValBadMessage;
    tDiagmgrAdaptationIndds acknowledgement{};
    acknowledgement.adaptationId = response.adaptationId;
    acknowledgement.indicationValue = NVM_STATUS_OK;
    eValStatus const status =
        send(__func__, acknowledgement, PackedSizeOftDiagmgrAdaptationIndds, PackDiagmgrAdaptationInd);
    if (status == eValOk) out(level::INFO, TRACE_HERE, ">>> DIAGMGR_ADAPTATION_IND");
    return status;
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
