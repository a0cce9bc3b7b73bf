#include "binding/proxy/Open_calls.h"

#include <exception>
#include <utility>

#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"

namespace ac::com::cpp_binding::proxy {

Open_calls::Id Open_calls::add(std::shared_ptr<void> promise) {
    std::lock_guard const lock(m_mutex);
    if (m_aborted) {
        return 0;
    }
    m_calls.emplace(++m_last, Call{std::move(promise), {}});
    return m_last;
}

void Open_calls::under_way(Id id, adapter::Sent_call call) {
    {
        std::lock_guard const lock(m_mutex);
        if (auto const found = m_calls.find(id); found != m_calls.end()) {
            found->second.sent = std::move(call);
            return;
        }
        if (!m_aborted) {
            return;
        }
    }
    adapter::cancel(std::move(call));
}

std::shared_ptr<void> Open_calls::take(Id id) {
    Call ended;
    std::lock_guard const lock(m_mutex);
    if (auto const found = m_calls.find(id); found != m_calls.end()) {
        ended = std::move(found->second);
        m_calls.erase(found);
    }
    return std::move(ended.promise);
}

void Open_calls::abort() noexcept {
    std::map<Id, Call> ended;
    {
        std::lock_guard const lock(m_mutex);
        m_aborted = true;
        ended.swap(m_calls);
    }
    for (auto& [id, call] : ended) {
        call.promise.reset();
        try {
            adapter::cancel(std::move(call.sent));
            log::binding_log().trace(
                [&] { return log::incidents::Method_call_request_cancelled{{m_method}}; },
                [&] { return log::Failure_text{"the proxy gave the call up"}; });
        } catch (std::exception const&) {  // the call has ended all the same
        }
    }
}

bool Open_calls::aborted() const {
    std::lock_guard const lock(m_mutex);
    return m_aborted;
}

std::size_t Open_calls::size() const {
    std::lock_guard const lock(m_mutex);
    return m_calls.size();
}

}  // namespace ac::com::cpp_binding::proxy
