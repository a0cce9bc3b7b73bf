#include <ac/com/cpp_binding/skeleton/Method_impl_base.h>

#include <utility>

namespace ac::com::cpp_binding::skeleton {

Method_impl_base::Method_impl_base(unsigned short method_id, Method_call_handler handler,
                                   Method_dispatcher& dispatcher)
    : m_method_id(method_id) {
    dispatcher.add_method(method_id, std::move(handler));
}

void Method_impl_base::reply_method(Reply_function const& reply,
                                    std::shared_ptr<std::vector<unsigned char>> const& payload,
                                    unsigned char return_code) {
    if (reply) reply(return_code, eb::com::runtime::Serialized_payload(payload));
}

}  // namespace ac::com::cpp_binding::skeleton
