#include "registry/DiagAraService.h"

#include <chrono>
#include <exception>
#include <future>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "registry/Diag_Ara_Components.h"
#include "registry/Diag_Ara_Components_Services.h"

namespace zvg::val::diag_ara {

using services::Diag_Ara_Components;
using services::Diag_Ara_Components_Services;

namespace {

/// How long the end of the process waits for the end of the bridge and the communication runtime.
constexpr std::chrono::milliseconds END_LIMIT{400};

}  // namespace

// None of the library's objects of static life is destroyed: a thread that the process does not wait for may
// use any of them to the very end. What ends is what they hold.

std::string& Diag_Ara_Components::m_runtime_error = *new std::string;

std::unique_ptr<ac::com::runtime::Component_singleton>& Diag_Ara_Components::m_runtime_object =
    *new std::unique_ptr<ac::com::runtime::Component_singleton>([] {
        std::unique_ptr<ac::com::runtime::Component_singleton> runtime;
        try {  // an exception out of a library's load would end the JVM: `register` reports it
            runtime = std::make_unique<ac::com::runtime::Component_singleton>(false, "");
        } catch (std::exception const& e) {
            m_runtime_error = e.what();
        } catch (...) {
            m_runtime_error = "not a standard exception";
        }
        return runtime;
    }());

std::once_flag DiagAraService::initInstanceFlag;
std::unique_ptr<DiagAraService>& DiagAraService::pInstance = *new std::unique_ptr<DiagAraService>;
DiagAraService::Unload DiagAraService::unload;

DiagAraService::Unload::~Unload() {
    // Also a bridge that no call has made yet: the first may still come. Refused at once, not when the
    // thread below is given the processor.
    getInstance()->refuseCalls();
    auto const ended = std::make_shared<std::promise<void>>();
    auto const isEnded = ended->get_future();
    auto const end = [ended] {
        if (getInstance()->end()) Diag_Ara_Components::m_runtime_object.reset();
        // Otherwise a thread of the ended JVM sits inside forever, and what it stands on stays.
        ended->set_value();
    };
    try {
        std::thread(end).detach();  // as a component may wait for a peer for longer than the process should
        isEnded.wait_for(END_LIMIT);
    } catch (std::system_error const&) {
        // Without a thread everything stays as it is; the end of the process does the rest.
    }
}

DiagAraService* DiagAraService::getInstance() {
    std::call_once(initInstanceFlag, [] { pInstance = std::make_unique<DiagAraService>(); });
    return pInstance.get();
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
