#include "platform/com/runtime/Sink_queue.h"

#include <algorithm>
#include <utility>

namespace eb::com::runtime {
namespace {

constexpr std::size_t MOST_SAMPLES = 256;
constexpr std::size_t MOST_STATES = 64;

template <class... Functions>
struct Visitor : Functions... {
    using Functions::operator()...;
};
template <class... Functions>
Visitor(Functions...) -> Visitor<Functions...>;

}  // namespace

void Sink_queue::end() {
    std::deque<Notice> dropped;
    std::lock_guard lock(m_mutex);
    m_ended = true;
    dropped.swap(m_notices);
}

void Sink_queue::add(Notice notice) {
    std::lock_guard lock(m_mutex);
    if (m_ended) return;
    if (auto const* sample = std::get_if<Serialized_payload>(&notice)) {
        ++m_samples;
        m_bytes += sample->bytes().size();
    }
    m_notices.push_back(std::move(notice));
    while (m_samples > 1 && (m_samples > MOST_SAMPLES || m_bytes > m_mostBytes)) dropOldest(true);
    if (m_notices.size() - m_samples > MOST_STATES) dropOldest(false);
    if (m_posted) return;
    m_posted = m_answers->post([self = shared_from_this()] { self->run(); });
}

void Sink_queue::dropOldest(bool sample) {
    auto const oldest = std::find_if(m_notices.begin(), m_notices.end(), [&](Notice const& notice) {
        return std::holds_alternative<Serialized_payload>(notice) == sample;
    });
    if (sample) {
        --m_samples;
        m_bytes -= std::get<Serialized_payload>(*oldest).bytes().size();
        ++counters().missedSamples;
    }
    m_notices.erase(oldest);
}

void Sink_queue::run() {
    Notice notice;
    {
        std::lock_guard lock(m_mutex);
        m_posted = false;
        if (m_notices.empty()) return;
        notice = std::move(m_notices.front());
        m_notices.pop_front();
        if (auto const* sample = std::get_if<Serialized_payload>(&notice)) {
            --m_samples;
            m_bytes -= sample->bytes().size();
        }
        if (!m_notices.empty()) m_posted = m_answers->post([self = shared_from_this()] { self->run(); });
    }
    auto const sink = m_sink.lock();
    if (!sink) return;
    std::visit(Visitor{[&](Serialized_payload& payload) { sink->event_updated(std::move(payload)); },
                       [&](Event_state state) { sink->event_state_changed(state); },
                       [&](Client::Service_state state) { sink->service_state_changed(state); }},
               notice);
}

}  // namespace eb::com::runtime
