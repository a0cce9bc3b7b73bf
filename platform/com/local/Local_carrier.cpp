#include "platform/com/local/Local_carrier.h"

#include <string>
#include <utility>

#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Session.h"
#include "platform/com/someip/Frame.h"

namespace eb::com::runtime {

void Local_carrier::send(std::shared_ptr<Open_call> const& call,
                         std::shared_ptr<Provided_service> const& service, unsigned short method,
                         Serialized_payload const& request) {
    std::size_t const bytes = request.bytes().size();
    if (bytes > m_limits.messageBytes || m_waitingBytes + bytes > m_limits.sendQueueBytes) {
        std::string const reason = bytes > m_limits.messageBytes ? "is too long" : "finds the queue full";
        return call->finish({Call_outcome::transport,
                             0,
                             {},
                             "local: a request of " + std::to_string(bytes) + " bytes " + reason});
    }
    Waiting waiting{call, service, method, request};
    if (m_calls < m_limits.outstandingCalls) return deliver(waiting);
    m_waitingBytes += bytes + someip::HEADER_BYTES;
    m_waiting.push_back(std::move(waiting));
}

void Local_carrier::deliver(Waiting const& waiting) {
    auto const service = waiting.service.lock();
    if (waiting.call->ended()) return;
    if (!service)
        return waiting.call->finish({Call_outcome::not_available, 0, {}, "local: the service has gone"});
    ++m_calls;
    auto const session = std::make_shared<Session>(
        m_loop, m_source, waiting.request.bytes().size(),
        [call = waiting.call, most = m_limits.messageBytes](std::uint8_t code, Serialized_payload payload) {
            std::size_t const bytes = payload.bytes().size();
            if (bytes <= most) return call->finish({Call_outcome::answered, code, std::move(payload), {}});
            log(ara::log::LogLevel::kError,
                "a reply of " + std::to_string(bytes) + " bytes is too long for its carrier");
            call->finish({Call_outcome::answered, someip::E_NOT_OK, {}, {}});
        },
        [weak = weak_from_this()] {
            if (auto const carrier = weak.lock()) carrier->sessionEnded();
        });
    service->deliver(waiting.method, Session::replyOf(session), waiting.request, session);
}

void Local_carrier::sessionEnded() {
    --m_calls;
    while (m_calls < m_limits.outstandingCalls && !m_waiting.empty()) {
        Waiting const waiting = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_waitingBytes -= waiting.request.bytes().size() + someip::HEADER_BYTES;
        deliver(waiting);
    }
}

}  // namespace eb::com::runtime
