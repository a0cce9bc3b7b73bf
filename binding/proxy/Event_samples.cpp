#include "binding/proxy/Event_samples.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "binding/adapter/Platform_adapter.h"
#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/proxy/Callout.h"

namespace ac::com::cpp_binding::proxy {

namespace incidents = log::incidents;

Event_samples::Event_samples(unsigned short event_id, eb::com::runtime::Service_handle const& info,
                             std::shared_ptr<eb::com::runtime::Client_port> const& port)
    : Event_base(event_id, {info.service, info.instance}, port),
      m_record{info.service, info.instance},
      m_present(port) {}

std::uint64_t Event_samples::position_for_latecomer() const {
    std::lock_guard const lock(m_mutex);
    return m_samples.empty() ? count() : count() - 1;
}

std::vector<Sample> Event_samples::take(std::uint64_t& position, std::size_t limit) const {
    std::lock_guard const lock(m_mutex);
    std::uint64_t const behind = count() - std::exchange(position, count());
    auto const number = std::min({behind, std::uint64_t{limit}, std::uint64_t{m_samples.size()}});
    return {m_samples.end() - static_cast<std::ptrdiff_t>(number), m_samples.end()};
}

void Event_samples::join(std::size_t cache_size) {
    std::lock_guard const lock(m_mutex);
    ++m_subscribers;
    m_room = std::max(m_room, cache_size);
}

void Event_samples::make_room(std::size_t cache_size) {
    std::lock_guard const lock(m_mutex);
    m_room = std::max(m_room, cache_size);
}

void Event_samples::leave() {
    std::deque<Sample> released;  // ends after the lock is released
    std::lock_guard const lock(m_mutex);
    if (--m_subscribers == 0) {
        m_room = 1;
        if (m_samples.size() > m_room) {
            m_samples.swap(released);
            m_samples.push_back(released.back());
        }
    }
}

bool Event_samples::has_subscriber() const {
    std::lock_guard const lock(m_mutex);
    return m_subscribers != 0;
}

void Event_samples::enter(std::shared_ptr<eb::com::runtime::Client_port> const& port) {
    std::lock_guard const changing(m_port_mutex);
    if (m_relying == 0 && port != m_present) {
        adapter::rebind(*this, port);
        m_present = port;
    }
    ++m_relying;
    ++m_proxies;
}

void Event_samples::exit() {
    std::lock_guard const changing(m_port_mutex);
    if (--m_proxies == 0) {
        m_present = nullptr;
        adapter::rebind(*this, nullptr);
    }
}

void Event_samples::event_updated(eb::com::runtime::Serialized_payload payload) {
    log::binding_log().trace([&] { return incidents::Event_update_rx{m_record}; });
    if (!has_subscriber()) {
        log::binding_log().trace([&] { return incidents::Event_update_when_not_subscribed{m_record}; });
        return;
    }
    Sample sample;
    try {
        sample = read(payload.bytes());
    } catch (...) {
        log::binding_log().trace([&] { return incidents::Event_deserialize_exception{m_record}; },
                                 [&] { return log::Failure_text{to_string(std::current_exception())}; });
        return;
    }
    {
        std::lock_guard const lock(m_mutex);
        m_samples.push_back(std::move(sample));
        if (m_samples.size() > m_room) {
            m_samples.pop_front();
        }
        m_count.fetch_add(1, std::memory_order_release);
    }
    notify_all_subscribers();
}

}  // namespace ac::com::cpp_binding::proxy
