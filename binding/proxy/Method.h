#pragma once

#include <cstddef>
#include <type_traits>

#include "binding/proxy/Method_impl.h"

namespace ara::com::internal::proxy {

template <class M, class Signature = typename M::Signature>
class Method;

/// A method of a generated proxy, to be called like a function.
template <class M, class Output, class... Input>
class Method<M, Output(Input...)> {
public:
    /// `method_id` counts the interface's methods from 0 in alphabetical order.
    Method(ac::com::cpp_binding::proxy::Proxy_base& proxy, unsigned short method_id)
        : m_binding(proxy, method_id) {}

    /// Sends the call and returns at once. All failures arrive through the future.
    eb::com::Future<Output> operator()(std::decay_t<Input> const&... input) { return m_binding(input...); }

    /// Calls without an answer by now.
    std::size_t openCalls() const { return m_binding.open_calls(); }

private:
    ac::com::cpp_binding::proxy::Method_impl<M, false, Output(Input...)> m_binding;
};

}  // namespace ara::com::internal::proxy
