#include "binding/proxy/Proxy_base.h"

#include <utility>

#include <ac/com/cpp_binding/proxy/Rport.h>

#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"

namespace ac::com::cpp_binding::proxy {

Proxy_base::Proxy_base(eb::com::runtime::Service_handle handle,
                       eb::com::runtime::Service_interface_description description)
    : Proxy_base(handle, description, Rport(handle, description).client_port()) {}

Proxy_base::Proxy_base(eb::com::runtime::Service_handle handle,
                       eb::com::runtime::Service_interface_description description,
                       std::shared_ptr<eb::com::runtime::Client_port> port)
    : m_handle(std::move(handle)), m_port(std::move(port)) {
    log::binding_log().trace(
        log::incidents::Service_proxy_constructed{{record(), description, m_port->endpoint()}});
}

void Proxy_base::abort() noexcept {
    for (auto const& action : m_on_abort) {
        action();
    }
}

}  // namespace ac::com::cpp_binding::proxy
