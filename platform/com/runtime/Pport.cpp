#include <ac/com/cpp_binding/skeleton/Pport.h>

#include <utility>

#include "platform/com/runtime/Pport_core.h"
#include "platform/com/runtime/Process_runtime.h"

namespace ac::com::cpp_binding::skeleton {

Pport::Pport(eb::com::runtime::Service_id service, eb::com::runtime::Instance_id instance,
             eb::com::runtime::Service_interface_description description)
    : m_service(std::move(service)), m_instance(std::move(instance)) {
    auto const runtime = eb::com::runtime::currentRuntime();
    m_core = std::make_shared<Core>(runtime, runtime->deploymentOf(m_service, m_instance, description));
}

Pport::~Pport() {
    stop_offer();
}

void Pport::start_offer() {
    m_core->runtime().offer(m_core);
}

void Pport::stop_offer() {
    m_core->runtime().withdraw(m_core);
}

void Pport::send_event(unsigned short event_id, eb::com::runtime::Serialized_payload const& payload) {
    m_core->send(event_id, payload);
}

}  // namespace ac::com::cpp_binding::skeleton
