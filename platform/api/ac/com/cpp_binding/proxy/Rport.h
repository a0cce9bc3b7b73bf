#pragma once

#include <memory>

#include <ara/log/Logger.h>
#include <eb/com/runtime/Client_port.h>
#include <eb/com/runtime/Service_finder.h>

namespace ac::com::cpp_binding::proxy {

/// The required port: the client's end of a found service instance. Open calls end with it.
class ARA_API Rport {
public:
    /// Connects to a found instance. Throws Invalid_argument_exception if the deployment doesn't know it,
    /// Infrastructure_exception if no runtime exists. Does not block: whether somebody answers shows in the
    /// first call.
    Rport(eb::com::runtime::Service_handle const& handle,
          eb::com::runtime::Service_interface_description const& description);

    std::shared_ptr<eb::com::runtime::Client_port> const& client_port() const noexcept { return m_port; }

private:
    std::shared_ptr<eb::com::runtime::Client_port> m_port;
};

}  // namespace ac::com::cpp_binding::proxy
