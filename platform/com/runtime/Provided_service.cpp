#include "platform/com/runtime/Provided_service.h"

#include <utility>

#include "platform/com/someip/Frame.h"

namespace eb::com::runtime {

void Provided_service::connect(std::shared_ptr<Call_taker> taker) {
    std::lock_guard lock(m_mutex);
    m_taker.swap(taker);
}

void Provided_service::deliver(unsigned short method,
                               ac::com::cpp_binding::skeleton::Reply_function const& reply,
                               Serialized_payload const& payload, std::shared_ptr<void> const& keep) {
    std::shared_ptr<Call_taker> taker;
    {
        std::lock_guard lock(m_mutex);
        taker = m_taker;
    }
    if (taker)
        taker->take(method, reply, payload, keep);
    else if (reply)
        reply(someip::E_NOT_READY, {});
}

}  // namespace eb::com::runtime
