#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <ac/com/cpp_binding/proxy/Rport.h>
#include <eb/com/runtime/Client_port.h>
#include <eb/com/runtime/Ids.h>
#include <eb/com/runtime/Service_finder.h>

#include "binding/incident/Records.h"

namespace ac::com::cpp_binding::proxy {

/// What the methods and events of one proxy share: the port to the service's instance, and the way to end
/// what is open there.
///
/// Owned by the proxy, and made before its members. Any thread may call `abort`; the rest belongs to the
/// proxy's construction.
class Proxy_base {
public:
    /// Connects to a found instance; see Rport for what it throws.
    Proxy_base(eb::com::runtime::Service_handle handle,
               eb::com::runtime::Service_interface_description description);
    /// Over a port that is there already.
    Proxy_base(eb::com::runtime::Service_handle handle,
               eb::com::runtime::Service_interface_description description,
               std::shared_ptr<eb::com::runtime::Client_port> port)
        : Proxy_base(std::move(handle), description, nullptr, std::move(port)) {}
    Proxy_base(Proxy_base const&) = delete;
    Proxy_base& operator=(Proxy_base const&) = delete;

    /// Ends all open calls of all methods at once: their promises break, on this thread. Later calls fail as
    /// "Service not available exception" without being sent. Events stay subscribed.
    void abort() noexcept;

    /// What `abort` has to do for a member; must not throw. While the proxy is being built only.
    void on_abort(std::function<void()> action) { m_on_abort.push_back(std::move(action)); }

    eb::com::runtime::Service_handle const& handle() const noexcept { return m_handle; }
    log::Instance_record record() const { return {m_handle.service, m_handle.instance}; }
    std::shared_ptr<eb::com::runtime::Client_port> const& port() const noexcept { return m_port; }

private:
    Proxy_base(eb::com::runtime::Service_handle handle,
               eb::com::runtime::Service_interface_description description, std::shared_ptr<Rport> rport,
               std::shared_ptr<eb::com::runtime::Client_port> port);
    Proxy_base(eb::com::runtime::Service_handle const& handle,
               eb::com::runtime::Service_interface_description description, std::shared_ptr<Rport> rport);

    eb::com::runtime::Service_handle const m_handle;
    std::shared_ptr<Rport> const m_rport;  // null over a port that was there already
    std::shared_ptr<eb::com::runtime::Client_port> const m_port;
    std::vector<std::function<void()>> m_on_abort;  // not changed once the proxy stands
};

}  // namespace ac::com::cpp_binding::proxy
