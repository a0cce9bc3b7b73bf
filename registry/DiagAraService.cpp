#include "registry/DiagAraService.h"

#include <exception>
#include <string>

#include "registry/Diag_Ara_Components.h"
#include "registry/Diag_Ara_Components_Services.h"

namespace zvg::val::diag_ara {

using services::Diag_Ara_Components;
using services::Diag_Ara_Components_Services;

// The objects that live as long as the library stand together in this file, as what is made first is
// destroyed last: the bridge with its components goes before the communication runtime that carries them.

std::string Diag_Ara_Components::m_runtime_error;

std::unique_ptr<ac::com::runtime::Component_singleton> Diag_Ara_Components::m_runtime_object = [] {
    std::unique_ptr<ac::com::runtime::Component_singleton> runtime;
    try {
        runtime = std::make_unique<ac::com::runtime::Component_singleton>(false, "");
    } catch (std::exception const& e) {  // out of a library's load it would end the JVM: `register` tells it
        m_runtime_error = e.what();
    } catch (...) {
        m_runtime_error = "not a standard exception";
    }
    return runtime;
}();

std::once_flag DiagAraService::initInstanceFlag;
std::unique_ptr<DiagAraService> DiagAraService::pInstance;
std::atomic<DiagAraService*> DiagAraService::current{nullptr};
DiagAraService::Unload DiagAraService::unload;

DiagAraService::Unload::~Unload() {
    if (!pInstance) return;
    if (pInstance->close()) {
        pInstance.reset();
        current = nullptr;
    } else {
        // A thread of the ended JVM sits inside for ever. Leave standing what it and its like stand on.
        static_cast<void>(pInstance.release());
        static std::atomic<ac::com::runtime::Component_singleton*> standing;  // held, and so no leak
        standing = Diag_Ara_Components::m_runtime_object.release();
    }
}

DiagAraService* DiagAraService::getInstance() {
    std::call_once(initInstanceFlag, [] {
        pInstance = std::make_unique<DiagAraService>();
        current = pInstance.get();
    });
    return current;
}

DiagAraService::DiagAraService()
    : Service(std::make_unique<Diag_Ara_Components>(Diag_Ara_Components_Services::getServices(),
                                                    Diag_Ara_Components_Services::getValMsgIds()),
              "DiagAraService::") {}

eValStatus DiagAraService::setServiceAvailability(tVALNetworkServicesDiagAra service, bool available) {
    auto const bits = static_cast<std::uint32_t>(service);
    if (available) {
        if ((m_availability.fetch_or(bits) & bits) == bits) return eValNotReady;
    } else {
        if ((m_availability.fetch_and(~bits) & bits) == 0) return eValNotReady;
    }
    eValStatus const result = sendServiceAvailability();
    if (result != eValOk) {
        out(level::DETAIL, TRACE_HERE, "Failed to send VAL_NETWORK_SERVICE_DIAG_ARA_STATUS_IND.");
    }
    return result;
}

eValStatus DiagAraService::sendServiceAvailability() {
    tValNetworkServiceDiagStatusIndds record{};
    record.serviceStateDiag = static_cast<tVALNetworkServicesDiagAra>(m_availability.load());
    return sendMsg(PackedSizeOfVALNetworkServiceStatusDiag_t(nullptr, nullptr), &record,
                   PackValNetworkServiceDiagStatusInd, true);
}

void DiagAraService::resetServiceAvailability() {
    m_availability = 0;
}

}  // namespace zvg::val::diag_ara
