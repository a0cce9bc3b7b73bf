#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <ac/com/cpp_binding/Application_error_exception.h>
#include <ac/com/cpp_binding/get_shared_payload.h>
#include <ac/com/cpp_binding/skeleton/Method_impl_base.h>

#include "binding/future/Future.h"
#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"

namespace ac::com::cpp_binding::skeleton {

/// SOME/IP return code of the binding itself: the request couldn't be read. Codes from 0x20 to 0x5E and above
/// are the service's own to give.
inline constexpr unsigned char UNREADABLE_REQUEST = 0x80;
/// Error code of a call that wants no answer where every call has one.
inline constexpr unsigned NO_REPLY_FUNCTION = 10;

template <class Signature>
class Call_handler;

/// Turns a call's bytes into a call of the implementation, and its future into the reply. The same for all
/// methods of one signature, so that each signature is compiled once (binding/generated/Signatures.h).
///
/// A value: copies share the implementation, and calls and replies that are under way have a share of it too.
/// Any thread.
///
/// The reply leaves on the thread that completes the implementation's promise. An Application_error_exception
/// in the promise becomes a reply with its code and bytes; any other exception becomes no reply at all.
template <class Output, class... Input>
class Call_handler<Output(Input...)> {
public:
    using Implementation = std::function<eb::com::Future<Output>(std::decay_t<Input> const&...)>;

    Call_handler(log::Method_record method, Implementation implementation);

    /// Throws what the implementation throws.
    void operator()(Method_call_id session, Reply_function const& reply,
                    eb::com::runtime::Serialized_payload const& payload) const;

private:
    using Arguments = std::tuple<std::decay_t<Input>...>;

    struct Core {
        log::Method_record method;
        Implementation call;
    };

    static void read(std::vector<unsigned char> const& bytes, Arguments& input);
    static eb::com::Future<Output> call(Core const& core, Arguments const& input);
    static void send_reply(log::Method_record const& method, Method_call_id session,
                           Reply_function const& reply, eb::com::Future<Output> result);

    static constexpr std::size_t size_estimate() {
        if constexpr (std::is_void_v<Output>) {
            return 0;
        } else {
            return someip::serialization::size_estimate<Output>();
        }
    }

    static constexpr someip::serialization::Serialization_properties PROPERTIES{};

    std::shared_ptr<Core const> m_core;
};

template <class Output, class... Input>
Call_handler<Output(Input...)>::Call_handler(log::Method_record method, Implementation implementation)
    : m_core(std::make_shared<Core const>(Core{std::move(method), std::move(implementation)})) {}

template <class Output, class... Input>
void Call_handler<Output(Input...)>::operator()(Method_call_id session, Reply_function const& reply,
                                                eb::com::runtime::Serialized_payload const& payload) const {
    namespace incidents = log::incidents;
    if (!reply) {
        log::binding_log().trace([&] {
            return incidents::Method_call_request_err{{m_core->method, NO_REPLY_FUNCTION}};
        });
        return;
    }
    Arguments input;
    try {
        read(payload.bytes(), input);
    } catch (std::exception const& failure) {
        log::binding_log().trace(
            [&] {
                return incidents::Method_call_request_process{{m_core->method, session}};
            },
            [&] { return log::Failure_text{failure.what()}; });
        Method_impl_base::reply_method(reply, nullptr, UNREADABLE_REQUEST);
        return;
    }
    log::binding_log().trace_at(
        ara::log::LogLevel::kVerbose,
        [&] {
            return incidents::Method_call_request_process{{m_core->method, session}};
        },
        log::Undefined_data{});
    // What `then` returns is dropped: it would hold what ended without a reply.
    call(*m_core, input).then([core = m_core, session, reply](eb::com::Future<Output> result) {
        send_reply(core->method, session, reply, std::move(result));
    });
}

template <class Output, class... Input>
void Call_handler<Output(Input...)>::read(std::vector<unsigned char> const& bytes, Arguments& input) {
    Read_buffer buffer(bytes);
    std::apply(
        [&](auto&... value) {
            (someip::serialization::deserialize_dispatch(value, buffer, PROPERTIES), ...);
        },
        input);
}

template <class Output, class... Input>
eb::com::Future<Output> Call_handler<Output(Input...)>::call(Core const& core, Arguments const& input) {
    try {
        return std::apply(core.call, input);
    } catch (...) {
        log::binding_log().trace(
            [&] { return log::incidents::Method_call_request_exception{{core.method}}; });
        throw;
    }
}

template <class Output, class... Input>
void Call_handler<Output(Input...)>::send_reply(log::Method_record const& method, Method_call_id session,
                                                Reply_function const& reply, eb::com::Future<Output> result) {
    auto const payload = get_shared_payload(size_estimate());
    someip::serialization::Serializer serializer(*payload, PROPERTIES);
    unsigned char return_code = 0;
    try {
        if constexpr (std::is_void_v<Output>) {
            result.get();
            log::binding_log().trace([&] {
                return log::incidents::Method_call_response_tx{{{method, session}, return_code}};
            });
        } else {
            Output const output = result.get();
            serializer.serialize(output);
            log::binding_log().trace(
                [&] {
                    return log::incidents::Method_call_response_tx{{{method, session}, return_code}};
                },
                log::Generated_data<Output>{output});
        }
    } catch (Application_error_exception const& error) {
        error.serialize(serializer);
        return_code = error.error();
        log::binding_log().trace(
            [&] {
                return log::incidents::Method_call_response_tx{{{method, session}, return_code}};
            },
            [&] { return log::Failure_text{error.what()}; });
    }
    Method_impl_base::reply_method(reply, payload, return_code);
}

}  // namespace ac::com::cpp_binding::skeleton
