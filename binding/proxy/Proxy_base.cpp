#include "binding/proxy/Proxy_base.h"

#include <utility>

#include "binding/adapter/Platform_adapter.h"
#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"

namespace ac::com::cpp_binding::proxy {

Proxy_base::Proxy_base(eb::com::runtime::Service_handle handle,
                       eb::com::runtime::Service_interface_description description)
    : Proxy_base(handle, description, std::make_shared<Rport>(handle, description)) {}

Proxy_base::Proxy_base(eb::com::runtime::Service_handle const& handle,
                       eb::com::runtime::Service_interface_description description,
                       std::shared_ptr<Rport> rport)
    : Proxy_base(handle, description, rport, adapter::client_port(*rport)) {}

Proxy_base::Proxy_base(eb::com::runtime::Service_handle handle,
                       eb::com::runtime::Service_interface_description description,
                       std::shared_ptr<Rport> rport, std::shared_ptr<eb::com::runtime::Client_port> port)
    : m_handle(std::move(handle)), m_rport(std::move(rport)), m_port(std::move(port)) {
    log::binding_log().trace([&] {
        return log::incidents::Service_proxy_constructed{{record(), description, adapter::endpoint(*m_port)}};
    });
}

void Proxy_base::abort() noexcept {
    for (auto const& action : m_on_abort) {
        action();
    }
}

}  // namespace ac::com::cpp_binding::proxy
