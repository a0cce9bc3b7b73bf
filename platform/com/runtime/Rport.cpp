#include <ac/com/cpp_binding/proxy/Rport.h>

#include "platform/com/runtime/Process_runtime.h"

namespace ac::com::cpp_binding::proxy {

Rport::Rport(eb::com::runtime::Service_handle const& handle,
             eb::com::runtime::Service_interface_description const& description) {
    auto const runtime = eb::com::runtime::currentRuntime();
    m_port = runtime->connect(runtime->deploymentOf(handle.service, handle.instance, description));
}

}  // namespace ac::com::cpp_binding::proxy
