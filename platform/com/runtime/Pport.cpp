#include <ac/com/cpp_binding/skeleton/Pport.h>

#include <utility>

#include "platform/com/runtime/Process_runtime.h"

namespace ac::com::cpp_binding::skeleton {

Pport::Pport(eb::com::runtime::Service_id service, eb::com::runtime::Instance_id instance,
             eb::com::runtime::Service_interface_description /*description*/)
    : m_service(std::move(service)), m_instance(std::move(instance)) {
    auto const runtime = eb::com::runtime::currentRuntime();
    m_provided = std::make_shared<eb::com::runtime::Provided_service>(
        runtime, runtime->deploymentOf(m_service, m_instance));
}

Pport::~Pport() {
    stop_offer();
}

void Pport::start_offer() {
    m_provided->runtime().offer(m_provided);
}

void Pport::stop_offer() {
    m_provided->runtime().withdraw(m_provided);
}

void Pport::send_event(unsigned short event_id, eb::com::runtime::Serialized_payload const& payload) {
    m_provided->send(event_id, payload);
}

}  // namespace ac::com::cpp_binding::skeleton
