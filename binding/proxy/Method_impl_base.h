#pragma once

#include <exception>
#include <memory>
#include <vector>

#include <eb/com/runtime/Client_port.h>
#include <eb/com/runtime/Serialized_payload.h>

#include "binding/adapter/Platform_adapter.h"
#include "binding/incident/Records.h"
#include "binding/proxy/Open_calls.h"

namespace ac::com::cpp_binding::proxy {

class Proxy_base;

namespace detail {

/// The interface's own way from a return code and payload to an exception; null for a code that it doesn't
/// have.
using Application_error = std::exception_ptr (*)(unsigned char, std::vector<unsigned char> const&);

/// The exception that a call ended with, logged; null for an answer with return code 0, and for a call given
/// up, whose promise is to break.
///
///   not available                    Service_not_available_exception
///   transport                        Transport_exception
///   a return code of the interface   its application error
///   any other return code            Infrastructure_exception, naming method and code
std::exception_ptr handle_error(log::Method_record const& method, adapter::Call_result const& result,
                                Application_error error);

/// The exception of an answer that can't be read, logged. Inside a catch block.
std::exception_ptr handle_unreadable(log::Method_record const& method, unsigned char return_code);

}  // namespace detail

/// The untyped half of a proxy's method.
class Method_impl_base {
public:
    Method_impl_base(Method_impl_base const&) = delete;
    Method_impl_base& operator=(Method_impl_base const&) = delete;

    /// Calls without an answer by now.
    std::size_t open_calls() const { return m_calls->size(); }

protected:
    /// Completes a promise, of the type that its method knows, by what its call ended with. Called on a
    /// runtime thread, once at most, without any lock; the method object may be gone by then.
    using Settle = void (*)(log::Method_record const&, std::shared_ptr<void> const& promise,
                            adapter::Call_result const&);

    Method_impl_base(Proxy_base& proxy, unsigned short method_id);
    /// Ends the open calls: their promises break.
    ~Method_impl_base();

    log::Method_record const& method() const noexcept { return m_calls->method(); }

    /// Throws Service_not_available_exception after an abort, and while the instance isn't there.
    void require_service() const;

    /// Sends a request. The promise is kept until the answer or the end of the method. Throws
    /// Service_not_available_exception after an abort, and what the port throws.
    void send(std::shared_ptr<void> promise, std::shared_ptr<std::vector<unsigned char>> request,
              Settle settle);

private:
    /// Binds a running call to this method until it has ended: its promise lives here and nowhere else.
    Open_calls::Id add_cleanup(std::shared_ptr<void> promise);

    std::shared_ptr<eb::com::runtime::Client_port> const m_port;
    std::shared_ptr<Open_calls> const m_calls;
};

}  // namespace ac::com::cpp_binding::proxy
