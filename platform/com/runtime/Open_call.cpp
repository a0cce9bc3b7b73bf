#include "platform/com/runtime/Open_call.h"

#include <utility>
#include <vector>

namespace eb::com::runtime {

void Open_call::finish(Call_result result) {
    auto const self = shared_from_this();
    Client_port::Reply reply;
    std::function<void(Call_result const&)> failed;
    {
        // One step for the others: after endAll every call that ended has its answer on the way.
        std::lock_guard lock(m_registry->m_mutex);
        if (m_ended) return;
        m_ended = true;
        m_registry->m_calls.erase(this);
        reply.swap(m_reply);
        failed.swap(m_failed);
        if (result.outcome == Call_outcome::answered)
            m_registry->m_answers->post([reply = std::move(reply), result = std::move(result)] {
                reply(result.return_code, result.payload);
            });
        else if (failed)
            m_registry->m_answers->post(
                [failed = std::move(failed), result = std::move(result)] { failed(result); });
        else
            m_failure = std::move(result);
    }
    m_registry->m_loop->post([self] {
        self->timer.reset();
        if (auto const tidy = std::exchange(self->onEnd, nullptr)) tidy();
    });
}

void Open_call::on_failure(std::function<void(Call_result const&)> failed) {
    {
        std::lock_guard lock(m_registry->m_mutex);
        if (!m_ended) return m_failed.swap(failed);
        if (!m_failure || m_registry->m_answers->post([failed, failure = *m_failure] { failed(failure); }))
            return;
    }
    failed(*m_failure);  // never changed once it stands
}

std::shared_ptr<Open_call> Call_registry::add(void const* port, Client_port::Reply reply) {
    auto call = std::make_shared<Open_call>(shared_from_this(), port, std::move(reply));
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
