#include "binding/proxy/Method_impl_base.h"

#include <string>
#include <utility>

#include <ac/com/Exceptions.h>

#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/proxy/Callout.h"
#include "binding/proxy/Proxy_base.h"

namespace ac::com::cpp_binding::proxy {

using adapter::Call_outcome;
using adapter::Call_result;

namespace detail {
namespace {

std::exception_ptr error_of(log::Method_record const& method, Call_result const& result,
                            Application_error error) {
    std::exception_ptr known;
    try {
        known = error(result.return_code, result.payload.bytes());
    } catch (...) {
        return handle_unreadable(method, result.return_code);
    }
    if (known) {
        return known;
    }
    log::binding_log().trace([&] {
        return log::incidents::Method_call_response_invalid_code{{method, result.return_code}};
    });
    return std::make_exception_ptr(Infrastructure_exception(
        method.service_id.value + ": method " + std::to_string(method.method_id) +
        " was answered with return code " + std::to_string(result.return_code) + ", which it doesn't have"));
}

}  // namespace

std::exception_ptr handle_error(log::Method_record const& method, Call_result const& result,
                                Application_error error) {
    switch (result.outcome) {
        case Call_outcome::answered:
            return result.return_code == 0 ? nullptr : error_of(method, result, error);
        case Call_outcome::not_available:
            return std::make_exception_ptr(Service_not_available_exception());
        case Call_outcome::transport:
            return std::make_exception_ptr(Transport_exception());
        case Call_outcome::cancelled:
            break;
    }
    log::binding_log().trace([&] { return log::incidents::Method_call_request_cancelled{{method}}; },
                             [&] { return log::Failure_text{result.detail}; });
    return nullptr;
}

std::exception_ptr handle_unreadable(log::Method_record const& method, unsigned char return_code) {
    auto failure = std::current_exception();
    log::binding_log().trace(
        [&] {
            return log::incidents::Method_call_deserializer_exception{{method, return_code}};
        },
        [&] { return log::Failure_text{to_string(failure)}; });
    return failure;
}

}  // namespace detail

Method_impl_base::Method_impl_base(Proxy_base& proxy, unsigned short method_id)
    : m_port(proxy.port()),
      m_calls(std::make_shared<Open_calls>(log::Method_record{proxy.record(), method_id})) {
    proxy.on_abort([calls = m_calls] { calls->abort(); });
}

Method_impl_base::~Method_impl_base() {
    m_calls->abort();
}

Open_calls::Id Method_impl_base::add_cleanup(std::shared_ptr<void> promise) {
    Open_calls::Id const id = m_calls->add(std::move(promise));
    if (id == 0) {
        throw Service_not_available_exception();
    }
    return id;
}

void Method_impl_base::require_service() const {
    if (m_calls->aborted() || !adapter::is_available(*m_port)) {
        throw Service_not_available_exception();
    }
}

void Method_impl_base::send(std::shared_ptr<void> promise,
                            std::shared_ptr<std::vector<unsigned char>> request, Settle settle) {
    Open_calls::Id const id = add_cleanup(std::move(promise));
    try {
        m_calls->under_way(id, adapter::call(*m_port, static_cast<unsigned short>(method().method_id),
                                             eb::com::runtime::Serialized_payload(std::move(request)),
                                             [calls = m_calls, id, settle](Call_result const& result) {
                                                 if (auto const own = calls->take(id)) {
                                                     settle(calls->method(), own, result);
                                                 }
                                             }));
    } catch (...) {
        if (m_calls->take(id)) {
            throw;
        }
        // answered or given up meanwhile: that stands
    }
}

}  // namespace ac::com::cpp_binding::proxy
