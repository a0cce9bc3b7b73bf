#include "servers/routine/RoutineRequest.h"

#include "registry/DiagAraService.h"

namespace zvg::val::diag_ara::services {

eValStatus sendRoutineRequest(tDiagmgrJavaRoutineReqds& request) {
    return DiagAraService::getInstance()->sendMsg<tDiagmgrJavaRoutineReqds>(
        PackedSizeOftDiagmgrJavaRoutineReqds(nullptr, &request), &request, &PackDiagmgrJavaRoutineReq, true);
}

bool unpackRoutineResponse(unsigned short length, unsigned char* data, tDiagmgrJavaRoutineRespds& response) {
    sQlet1Mod4MessageHdr header{};
    header.messageId = 666;
    header.length = length;
    return UnpackDiagmgrJavaRoutineResp(&header, data, &response) == eUnpackOk;
}

[[gnu::weak]] std::chrono::milliseconds responseWait(std::chrono::milliseconds timeout) {
    return timeout;
}

}  // namespace zvg::val::diag_ara::services
