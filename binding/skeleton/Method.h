#pragma once

#include <utility>

#include "binding/skeleton/Method_impl.h"

namespace ara::com::internal::skeleton {

/// A method of a generated skeleton: joins its number in the interface to the function that implements it.
/// Owned by the skeleton. Made before the service is offered.
template <class M>
class Method {
public:
    using Binding = ac::com::cpp_binding::skeleton::Method_impl<M>;

    Method(unsigned short method_id, typename Binding::Implementation implementation,
           ac::com::cpp_binding::skeleton::Method_dispatcher& dispatcher)
        : m_binding(method_id, std::move(implementation), dispatcher) {}

private:
    Binding m_binding;
};

}  // namespace ara::com::internal::skeleton
