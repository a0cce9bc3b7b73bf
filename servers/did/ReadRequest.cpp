#include "servers/did/ReadRequest.h"

#include "codec/diagnostics.h"
#include "registry/DiagAraService.h"

namespace zvg::val::diag_ara::services {

eValStatus sendReadRequest(std::uint16_t requestId) {
    tValDiagnosticsrequestIndds request{};
    request.value = requestId;
    return DiagAraService::getInstance()->sendMsg<tValDiagnosticsrequestIndds>(
        PackedSizeOftValDiagnosticsrequestIndds(nullptr, &request), &request, &PackValDiagnosticsrequestInd,
        true);
}

}  // namespace zvg::val::diag_ara::services
