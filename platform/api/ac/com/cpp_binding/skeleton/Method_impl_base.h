#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

namespace ac::com::cpp_binding::skeleton {

/// The untyped half of a skeleton's method.
class ARA_API Method_impl_base {
public:
    /// Registers `handler` for `method_id` with the dispatcher, which keeps it as long as it lives.
    Method_impl_base(unsigned short method_id, Method_call_handler handler, Method_dispatcher& dispatcher);
    Method_impl_base(Method_impl_base const&) = delete;
    Method_impl_base& operator=(Method_impl_base const&) = delete;

    /// Sends the reply with that return code. Uses nothing of the method object, so that a reply may leave
    /// after the skeleton has gone. A null payload counts as empty.
    static void reply_method(Reply_function const& reply,
                             std::shared_ptr<std::vector<unsigned char>> const& payload,
                             unsigned char return_code);

    unsigned short method_id() const noexcept { return m_method_id; }

protected:
    ~Method_impl_base() = default;

private:
    unsigned short m_method_id;
};

}  // namespace ac::com::cpp_binding::skeleton
