#include "platform/com/runtime/Call_queue.h"

#include <utility>

namespace eb::com::runtime {

void Call_queue::push(Waiting_call call) {
    Call_source const* const source = &call.session->source();
    std::list<Waiting_call> one;
    one.push_back(std::move(call));
    auto& calls = m_calls[source];
    calls.splice(calls.end(), one);
    ++m_size;
}

std::optional<Waiting_call> Call_queue::pop() {
    if (m_calls.empty()) return {};
    auto next = m_calls.upper_bound(m_lastServed);
    if (next == m_calls.end()) next = m_calls.begin();
    m_lastServed = next->first;
    Waiting_call call = std::move(next->second.front());
    next->second.pop_front();
    if (next->second.empty()) m_calls.erase(next);
    --m_size;
    return call;
}

std::list<Waiting_call> Call_queue::takeAllOf(Call_source const& source) {
    auto const found = m_calls.find(&source);
    if (found == m_calls.end()) return {};
    std::list<Waiting_call> calls = std::move(found->second);
    m_calls.erase(found);
    m_size -= calls.size();
    return calls;
}

std::list<Waiting_call> Call_queue::takeAll() {
    std::list<Waiting_call> all;
    for (auto& [source, calls] : std::exchange(m_calls, {})) all.splice(all.end(), calls);
    m_size = 0;
    return all;
}

}  // namespace eb::com::runtime
