#include "platform/com/runtime/Open_call.h"

#include <utility>
#include <vector>

namespace eb::com::runtime {

void Open_call::finish(Call_result result) {
    auto const self = shared_from_this();
    {
        // One step for the others: after endAll every call that ended has its answer on the way.
        std::lock_guard lock(m_registry->m_mutex);
        if (m_ended) return;
        m_ended = true;
        m_registry->m_calls.erase(this);
        m_registry->m_answers->post(
            [answer = std::exchange(m_answer, nullptr), result = std::move(result)] { answer(result); });
    }
    m_registry->m_loop->post([self] {
        self->timer.reset();
        if (auto const tidy = std::exchange(self->onEnd, nullptr)) tidy();
    });
}

std::shared_ptr<Open_call> Call_registry::add(void const* port, Client_port::Answer answer) {
    auto call = std::make_shared<Open_call>(shared_from_this(), port, std::move(answer));
    std::lock_guard lock(m_mutex);
    if (m_ended) return nullptr;
    m_calls.emplace(call.get(), call);
    return call;
}

void Call_registry::endAll(void const* port, std::string const& detail) {
    std::vector<std::shared_ptr<Open_call>> calls;
    {
        std::lock_guard lock(m_mutex);
        if (port == nullptr) m_ended = true;
        for (auto const& [key, call] : m_calls)
            if (port == nullptr || call->m_port == port) calls.push_back(call);
    }
    for (auto const& call : calls) call->finish({Call_outcome::cancelled, 0, {}, detail});
}

}  // namespace eb::com::runtime
