#pragma once

#include "binding/proxy/Field.h"
#include "binding/proxy/Method.h"
#include "binding/proxy/Proxy_base.h"
#include "binding/proxy/Proxy_impl.h"

namespace ara::com::internal::proxy {

/// Base of a service's generated proxy.
///
/// Owned by the client. A client on several threads shares it, so that it lives until the last call through
/// it has returned. Destruction ends all open calls, their promises break; then it ends subscriptions, and
/// waits for handlers that are running, except from inside one of them.
///
///     auto proxy = std::make_shared<DiagnosticDataDistributionProxy>(handle);
///     auto values = proxy->getDiagnosticDataValues(0, ids);      // eb::com::Future<Output>
template <class Service>
class Proxy {
public:
    using Service_type = Service;
    using Handle_type = typename ac::com::cpp_binding::proxy::Proxy_impl<Service>::Handle_type;

    /// Does not block: whether somebody answers shows in the first call. Throws
    /// ac::com::Invalid_argument_exception if the deployment doesn't know the instance,
    /// Infrastructure_exception if no runtime exists.
    explicit Proxy(Handle_type const& handle)
        : m_binding(handle.service_handle(),
                    eb::com::runtime::Service_interface_description{Service::DESCRIPTION}) {}
    Proxy(Proxy const&) = delete;
    Proxy& operator=(Proxy const&) = delete;

    /// For the moment when the service was lost while other threads may be waiting for its answers: ends all
    /// open calls of this proxy at once. Their promises break on this thread, so that `Future::get` throws
    /// std::future_error `broken_promise`; a late answer is dropped. Calls made from now on fail at once with
    /// ac::com::Service_not_available_exception. Subscriptions stay as they are. Any thread, any number of
    /// times, as long as the proxy lives.
    void abort() noexcept { m_binding.abort(); }

protected:
    using Binding = ac::com::cpp_binding::proxy::Proxy_base;

    /// Over a port that is there already.
    Proxy(Handle_type const& handle, std::shared_ptr<eb::com::runtime::Client_port> port)
        : m_binding(handle.service_handle(),
                    eb::com::runtime::Service_interface_description{Service::DESCRIPTION}, std::move(port)) {}
    ~Proxy() = default;

    Binding& binding() noexcept { return m_binding; }

private:
    Binding m_binding;
};

}  // namespace ara::com::internal::proxy
