#pragma once

#include <utility>

#include <ac/com/cpp_binding/skeleton/Method_impl_base.h>

#include "binding/adapter/Platform_adapter.h"
#include "binding/skeleton/Call_handler.h"

namespace ac::com::cpp_binding::skeleton {

template <class M, bool IsField = false, class Signature = typename M::Signature>
class Method_impl;

/// A skeleton's method: joins its number to what handles its calls.
///
/// Owned by the generated skeleton; called on whatever thread the method processor has. Neither the call
/// nor the reply uses this object: what they need they share, so that a reply may leave, or a promise be
/// broken, after the skeleton has gone.
template <class M, class Output, class... Input>
class Method_impl<M, false, Output(Input...)> : public Method_impl_base {
    using Handler = Call_handler<Output(Input...)>;

public:
    using Implementation = typename Handler::Implementation;

    Method_impl(unsigned short method_id, Implementation implementation, Method_dispatcher& dispatcher)
        : Method_impl_base(method_id,
                           Handler({{adapter::service_id(adapter::port_of(dispatcher)),
                                     adapter::instance_id(adapter::port_of(dispatcher))},
                                    method_id},
                                   std::move(implementation)),
                           dispatcher) {}
};

}  // namespace ac::com::cpp_binding::skeleton
