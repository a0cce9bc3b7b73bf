#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include <ac/com/cpp_binding/skeleton/Method_processor.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>
#include <ara/log/Logger.h>
#include <eb/com/runtime/Serialized_payload.h>

namespace ac::com::cpp_binding::skeleton {

/// Identifies one call in logs; unique in the process.
using Method_call_id = std::uint64_t;

/// Sends the reply of one call: SOME/IP return code and payload. May be called from any thread, also after
/// the dispatcher and the port have gone; only the first call has an effect. Never blocks. Empty for a call
/// that wants no answer. The runtime forgets the session when the last copy dies.
using Reply_function = std::function<void(unsigned char, eb::com::runtime::Serialized_payload)>;

/// Handles one incoming call.
using Method_call_handler =
    std::function<void(Method_call_id, Reply_function const&, eb::com::runtime::Serialized_payload const&)>;

/// Delivers the calls of a port to the handlers of its methods, through the method processor.
class ARA_API Method_dispatcher {
public:
    Method_dispatcher(Pport& port, std::unique_ptr<detail::Method_processor> processor);
    /// Stops.
    ~Method_dispatcher();
    Method_dispatcher(Method_dispatcher const&) = delete;
    Method_dispatcher& operator=(Method_dispatcher const&) = delete;

    /// Calls are delivered from here on. Before it and after stop, a call is answered with return code 0x04
    /// (E_NOT_READY, SOME/IP) and reaches no handler.
    void start();

    /// No handler is entered afterwards, and none is running when it returns, unless it is called from inside
    /// one. Calls that were waiting are answered with 0x04 as well. Replies still leave.
    void stop();

    /// Registers the handler of a method (ids from 0, in alphabetical order of the interface's methods).
    /// Before start only; a second handler for one id throws Invalid_argument_exception.
    void add_method(unsigned short method_id, Method_call_handler handler);

    Pport& port() const noexcept { return m_port; }

private:
    struct Core;
    Pport& m_port;
    std::shared_ptr<Core> m_core;
};

}  // namespace ac::com::cpp_binding::skeleton
