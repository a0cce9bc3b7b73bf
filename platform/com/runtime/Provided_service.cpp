#include "platform/com/runtime/Provided_service.h"

#include <string>
#include <utility>

#include <ac/com/Exceptions.h>

#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/runtime/Session.h"
#include "platform/com/someip/Frame.h"

namespace eb::com::runtime {

void Provided_service::connect(std::shared_ptr<Call_taker> taker) {
    std::lock_guard lock(m_mutex);
    m_taker.swap(taker);
}

std::shared_ptr<Call_taker> Provided_service::taker() const {
    std::lock_guard lock(m_mutex);
    return m_taker;
}

void Provided_service::deliver(unsigned short method, ac::com::cpp_binding::skeleton::Reply_function reply,
                               Serialized_payload const& payload, std::shared_ptr<Session> session) {
    if (auto const present = taker())
        present->take(method, std::move(reply), payload, std::move(session));
    else if (reply)
        reply(someip::E_NOT_READY, {});
}

void Provided_service::forget(Call_source const& source) {
    if (auto const present = taker()) present->forget(source);
}

void Provided_service::send(unsigned short event, Serialized_payload const& payload) {
    Deployment const& table = m_runtime->deployment();
    if (event >= m_deployment.events.size())
        throw ac::com::Invalid_argument_exception(table.origin + ": " + m_deployment.interface.value +
                                                  " has no event " + std::to_string(event));
    std::size_t const bytes = payload.bytes().size();
    if (bytes > table.limits.messageBytes) {
        log(ara::log::LogLevel::kError, m_deployment.interface.value + ", " +
                                            m_deployment.events[event].name + ": an event of " +
                                            std::to_string(bytes) + " bytes is too long for its carrier");
        return;
    }
    std::lock_guard lock(m_mutex);
    bool const isFirst = m_outbox.empty();
    m_outbox.push_back({event, payload});
    m_outboxBytes += bytes + someip::HEADER_BYTES;
    while (m_outbox.size() > 1 && m_outboxBytes > table.limits.sendQueueBytes) {
        keep(m_outbox.front());
        m_outboxBytes -= m_outbox.front().payload.bytes().size() + someip::HEADER_BYTES;
        m_outbox.pop_front();
        ++counters().missedSamples;
    }
    if (isFirst) m_runtime->post([self = shared_from_this()] { self->flush(); });
}

void Provided_service::flush() {
    std::deque<Sample> samples;
    {
        std::lock_guard lock(m_mutex);
        samples.swap(m_outbox);
        m_outboxBytes = 0;
    }
    for (Sample const& sample : samples) {
        {
            std::lock_guard lock(m_mutex);
            keep(sample);
        }
        m_runtime->publish(*this, sample.event, sample.payload);
    }
}

/// Under m_mutex.
void Provided_service::keep(Sample const& sample) {
    if (m_deployment.events[sample.event].field) m_values[sample.event] = sample.payload;
}

std::optional<Serialized_payload> Provided_service::value(unsigned short event) const {
    std::lock_guard lock(m_mutex);
    return m_values[event];
}

}  // namespace eb::com::runtime
