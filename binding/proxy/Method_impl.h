#pragma once

#include <exception>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

#include <ac/com/cpp_binding/get_shared_payload.h>

#include "binding/future/Future.h"
#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"
#include "binding/proxy/Method_impl_base.h"

namespace ac::com::cpp_binding::proxy {

/// How an operation's data is laid out: as the operation says by PROPERTIES, else in the common way.
template <class Operation>
constexpr someip::serialization::Serialization_properties properties_of() {
    if constexpr (requires { Operation::PROPERTIES; }) {
        return Operation::PROPERTIES;
    } else {
        return {};
    }
}

template <class M, bool IsField = false, class Signature = typename M::Signature>
class Method_impl;

/// A proxy's method, or the getter of a field: turns a call into bytes, and the answer's bytes into the
/// result of a future.
///
/// Owned by the proxy; any thread may call. Destruction ends open calls: their promises break.
///
/// A call of a service that isn't there fails on the caller's thread, before it is serialized or logged.
///
/// Nothing is thrown at the caller: every failure arrives through the future. Beside the exceptions of
/// detail::handle_error these are the serializer's, for arguments that can't be written and results that
/// can't be read, and Infrastructure_exception if the runtime has ended. A call given up, by the runtime's
/// own limit or by the end or abort of the proxy, breaks its promise. The future is completed on a runtime
/// thread; its continuation has to return soon.
template <class M, bool IsField, class Output, class... Input>
class Method_impl<M, IsField, Output(Input...)> : public Method_impl_base {
    static_assert(!IsField || sizeof...(Input) == 0, "a field's getter takes nothing");

public:
    Method_impl(Proxy_base& proxy, unsigned short method_id) : Method_impl_base(proxy, method_id) {}

    eb::com::Future<Output> operator()(std::decay_t<Input> const&... input) {
        auto const promise = std::make_shared<eb::com::Promise<Output>>();
        eb::com::Future<Output> future = promise->get_future();
        try {
            require_service();
            auto const request = get_shared_payload((std::size_t{0} + ... + sizeof(Input)));
            someip::serialization::Serializer serializer(*request, properties_of<M>());
            (serializer.serialize(input), ...);
            log::binding_log().trace([&] { return log::incidents::Method_call_request_tx{{method()}}; },
                                     log::Generated_data<Arguments>{{std::tie(input...)}});
            send(promise, request, &settle);
        } catch (...) {
            promise->set_exception(std::current_exception());
        }
        return future;
    }

private:
    /// The arguments as a log shows them.
    struct Arguments {
        std::tuple<std::decay_t<Input> const&...> all;
        auto const& fields() const { return all; }
    };

    static void settle(log::Method_record const& method, std::shared_ptr<void> const& promise,
                       adapter::Call_result const& result) {
        auto& target = *static_cast<eb::com::Promise<Output>*>(promise.get());
        if (result.outcome != adapter::Call_outcome::answered || result.return_code != 0) {
            if (auto failure = detail::handle_error(method, result, &M::GetApplicationErrorExceptionPtr)) {
                target.set_exception(std::move(failure));
            }
            return;
        }
        log::binding_log().trace([&] {
            return log::incidents::Method_call_response_rx{{method, result.return_code}};
        });
        if constexpr (std::is_void_v<Output>) {
            target.set_value();
        } else {
            std::exception_ptr failure;
            Output output{};
            try {
                output =
                    someip::serialization::from_bytes<Output>(result.payload.bytes(), properties_of<M>());
            } catch (...) {
                failure = detail::handle_unreadable(method, result.return_code);
            }
            failure ? target.set_exception(std::move(failure)) : target.set_value(std::move(output));
        }
    }
};

}  // namespace ac::com::cpp_binding::proxy
